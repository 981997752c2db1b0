#pragma once

#include "host/site/SiteSettings.h"

#include <QDialog>
#include <QHash>

class QComboBox;
class QDialogButtonBox;
class QFormLayout;
class QLabel;
class QPushButton;
class QTabWidget;

namespace KOZAV::Host {

/// The configuration of the site, each key with its explanation and checked as it is entered, and what the
/// user of this client has chosen for himself.
class SettingsDialog final : public QDialog
{
    Q_OBJECT
public:
    explicit SettingsDialog(QWidget* parent = nullptr);

    /// What would be written now.
    [[nodiscard]] SettingChanges changes() const;

Q_SIGNALS:
    /// Keys of the configuration were written.
    void settingsChanged();
    /// What is to be known of them although they were written, for people.
    void told(const QString& text);

public Q_SLOTS:
    /// Writes what has changed and closes; asks first where rows or files would be looked for elsewhere.
    void accept() override;

private:
    struct Field
    {
        SettingEntry entry;
        QWidget* editor = nullptr;
        QLabel* flaw = nullptr;
        QString flawText;
    };

    void buildPages(const std::vector<SettingEntry>& entries);
    void buildOwnPage();
    QWidget* buildButtons();
    [[nodiscard]] QFormLayout* pageOf(const QString& section);
    void addField(const SettingEntry& entry);
    [[nodiscard]] QWidget* buildEditor(const SettingEntry& entry);
    [[nodiscard]] QWidget* withBrowser(const Field& field);
    [[nodiscard]] static QString valueOf(const Field& field);
    void checkField(int index);
    void showState();
    [[nodiscard]] bool confirmMove();
    void testConnections();

    std::vector<Field> m_fields;
    QHash<QString, QFormLayout*> m_pages; ///< by section
    QTabWidget* m_tabs = nullptr;
    QComboBox* m_language = nullptr;
    QLabel* m_state = nullptr;
    QPushButton* m_test = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
};

} // namespace KOZAV::Host
