#pragma once

#include <QStringList>
#include <QTimer>
#include <QWidget>

class QLabel;
class QPushButton;
class QScrollArea;

namespace KOZAV::UI {
class ZAV_ImportFromFile_Widget;
}

namespace KOZAV::Host {

class CamImport;
class PanelRun;

/// Where the file import panel stands. The panel reads its list of companies once, when it is made; so when
/// the site has others, a new one takes its place, as soon as nothing of the old one is in use. What was
/// chosen in the old one is told, and kept where that is a company.
///
/// The wheel over the closed box of companies scrolls the place, and changes no customer unnoticed.
class PanelPlace final : public QWidget
{
    Q_OBJECT
public:
    explicit PanelPlace(QWidget* parent = nullptr);

    /// The panel that stands here now, owned by the place.
    [[nodiscard]] UI::ZAV_ImportFromFile_Widget* panel() const { return m_panel; }
    /// The panel gives way only while neither of these works with it. Both outlive this object, and go over
    /// to each new panel before anybody else hears of it.
    void setUsers(PanelRun& run, CamImport& camImport);

    /// The names of companies that an import can be made for, in the order in which the panel lists them.
    void showCompanies(const QStringList& names);

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    /// Another panel stands here; the one before is gone when events are handled next.
    void renewed();
    /// What was chosen in the panel that has given way, for the operator to choose again.
    void choiceDropped(const QString& text);
    /// The operator wants to add a company.
    void companiesWanted();

private:
    void place(UI::ZAV_ImportFromFile_Widget* panel);
    void renewWhenIdle();
    void renew();
    [[nodiscard]] bool isIdle() const;
    [[nodiscard]] QStringList listed() const;
    [[nodiscard]] QStringList chosen() const;
    void showNotice();

    QScrollArea* m_scroll;
    QLabel* m_notice;
    QPushButton* m_addCompany;
    QPushButton* m_dismiss;
    UI::ZAV_ImportFromFile_Widget* m_panel = nullptr;
    PanelRun* m_run = nullptr;
    CamImport* m_camImport = nullptr;
    QTimer m_retry;
    QStringList m_companies; ///< of the site, as told last
    QString m_dropped;       ///< what the operator has lost and has not dismissed
};

} // namespace KOZAV::Host
