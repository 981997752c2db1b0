#pragma once

#include "host/site/FirstSite.h"

#include <QDialog>

class QCheckBox;
class QFormLayout;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QStackedWidget;

namespace KOZAV::Host {

/// What a first start shows, where there is no configuration yet: an embedded site to be made with one click,
/// a site on servers, or a configuration that is there already. Nothing is made before one is chosen.
class FirstRunPage final : public QDialog
{
    Q_OBJECT
public:
    explicit FirstRunPage(QWidget* parent = nullptr);

    /// The site that was made or chosen, once the dialog is accepted: a configuration that was there has no
    /// places.
    [[nodiscard]] const FirstSite& site() const { return m_site; }
    /// What would be made now.
    [[nodiscard]] FirstSitePlan plan() const;

public Q_SLOTS:
    /// Makes or opens what is chosen; closes when that has succeeded, and says what is wrong otherwise.
    void accept() override;
    void reject() override;

private:
    QWidget* buildChoices();
    QWidget* buildEmbedded();
    QWidget* buildServers();
    QWidget* buildExisting();
    QWidget* buildButtons();
    QLineEdit* addLine(QFormLayout& form, const QString& label, const QString& key, const QString& hint);
    QWidget* withChooser(QLineEdit* line, bool folder);
    void showChoice();
    void showState();
    void openExisting();
    void testConnections();
    void setBusy(bool busy, const QString& text);

    FirstSite m_site;
    bool m_busy = false;
    QRadioButton* m_embedded = nullptr;
    QRadioButton* m_servers = nullptr;
    QRadioButton* m_existing = nullptr;
    QStackedWidget* m_details = nullptr;
    QLineEdit* m_configuration = nullptr;
    QLineEdit* m_dataRoot = nullptr;
    QLabel* m_places = nullptr;
    QGroupBox* m_database = nullptr;
    QGroupBox* m_store = nullptr;
    QList<QLineEdit*> m_serverLines; ///< named as their keys
    QCheckBox* m_databasePlain = nullptr;
    QCheckBox* m_storePlain = nullptr;
    QLineEdit* m_file = nullptr;
    QLabel* m_state = nullptr;
    QPushButton* m_test = nullptr;
    QPushButton* m_go = nullptr;
};

} // namespace KOZAV::Host
