#pragma once

#include "tests/support/ShownDialog.h"

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTemporaryDir>

#include <cstddef>
#include <deque>
#include <functional>
#include <vector>

namespace KOZAV::Test {

/// Answers modal dialogs as a person would: from a queue of expected answers, in order. Every dialog is
/// recorded. One that nobody expected is dismissed and complained of, so that no test hangs on it.
///
/// File dialogs are Qt's own, not the platform's, and keep their settings in a directory of the driver.
class DialogDriver final : public QObject
{
    Q_OBJECT
public:
    explicit DialogDriver(QObject* parent = nullptr);

    /// The next dialog is a message box; press this button.
    void expectMessage(QMessageBox::StandardButton answer = QMessageBox::Ok);
    /// The next dialog is a file dialog; type these paths and accept.
    void expectFileDialog(const QStringList& paths);
    /// The next dialog is a file dialog; cancel it.
    void expectCancelledFileDialog();

    /// Called as soon as a dialog is seen, before it is answered.
    std::function<void(const ShownDialog&)> observer;

    [[nodiscard]] const std::vector<ShownDialog>& shown() const { return m_shown; }
    /// One of them, counted from 0, or the last one; an empty record where there was none.
    [[nodiscard]] ShownDialog shownAt(std::size_t index) const;
    [[nodiscard]] ShownDialog lastShown() const;
    /// What went otherwise than expected, expected dialogs that never came included; empty when all is well.
    [[nodiscard]] QString complaint() const;

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    struct Answer
    {
        ShownDialog::Kind kind;
        QMessageBox::StandardButton button;
        QStringList paths;
    };

    void lookForDialog();
    void meet(QWidget* dialog);
    void answer(QWidget* dialog, const Answer& answer);
    void dismiss(QWidget* dialog, const QString& problem);

    QTemporaryDir m_settings;
    std::deque<Answer> m_answers;
    std::vector<ShownDialog> m_shown;
    QPointer<QWidget> m_met;
    QStringList m_problems;
};

} // namespace KOZAV::Test
