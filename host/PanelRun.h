#pragma once

#include "host/core/PanelSource.h"

#include <QObject>
#include <QString>
#include <QTimer>

class QLineEdit;
class QPushButton;
class QWidget;

namespace KOZAV::Host {

/// Tells when the file import panel begins to import, before its slot runs, and when the slot has returned.
/// Between the two the panel never lets the event loop run but in its message boxes, and the RunGate is
/// closed.
class PanelRun final : public QObject
{
    Q_OBJECT
public:
    /// @param panel  lives until another one is set
    explicit PanelRun(const QWidget& panel, QObject* parent = nullptr);

    /// Follows this panel from now on, in which nothing is chosen yet. Not while the other one imports.
    void setPanel(const QWidget& panel);
    [[nodiscard]] const QWidget& panel() const { return *m_panel; }

    [[nodiscard]] bool isRunning() const { return m_running; }
    /// What is imported, or was last.
    [[nodiscard]] const PanelSource& source() const { return m_source; }
    /// What the panel keeps for its next batch and its next single import, whatever its fields show; may be
    /// empty.
    [[nodiscard]] const QString& batchChoice() const { return m_batch.path; }
    [[nodiscard]] const QString& singleChoice() const { return m_single.path; }

    /// What the panel would import next: what was chosen last, of that what is still to be had. Its path is
    /// empty where nothing is chosen.
    [[nodiscard]] PanelSource choice() const;

Q_SIGNALS:
    /// The choice() is another one.
    void chosen(const KOZAV::Host::PanelSource& source);
    /// The import follows, or forgotten() does: a button that is pressed and not let go on it imports
    /// nothing.
    void begins(const KOZAV::Host::PanelSource& source);
    void ended(const KOZAV::Host::PanelSource& source);
    void forgotten();

private:
    /// A choice that the panel keeps, as its field shows it when it is made.
    struct Choice
    {
        QString path;
        bool typing = false;
        bool clearing = false; ///< the clear button is down
    };

    void follow(const QLineEdit* field, const QPushButton* clearButton, Choice& choice);
    void tellChoice();
    void frame(const QPushButton* importButton, PanelSource (PanelRun::*pressed)() const);
    void end();
    void closeGate();
    void forgetUnlessCalled();
    [[nodiscard]] PanelSource batchSource() const;
    [[nodiscard]] PanelSource singleSource() const;

    const QWidget* m_panel = nullptr;
    Choice m_batch;
    Choice m_single;
    bool m_singleIsLast = false; ///< the single source was chosen after the batch
    PanelSource m_toldChoice;
    PanelSource m_source;
    bool m_running = false;
    QTimer m_afterRelease;
    int m_releaseDepth = 0; ///< of event loops
};

} // namespace KOZAV::Host
