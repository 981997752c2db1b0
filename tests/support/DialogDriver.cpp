#include "tests/support/DialogDriver.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTest>

#include <utility>

namespace KOZAV::Test {

namespace {

constexpr int pollIntervalMs = 2;

void describeMessage(const QMessageBox& box, ShownDialog& dialog)
{
    dialog.kind = ShownDialog::Kind::Message;
    dialog.text = box.text();
    dialog.furtherText = box.informativeText() + box.detailedText();
    dialog.icon = box.icon();
    dialog.buttons = box.standardButtons();
    dialog.defaultButton = box.standardButton(box.defaultButton());
}

void describeFileDialog(const QFileDialog& box, ShownDialog& dialog)
{
    dialog.kind = ShownDialog::Kind::File;
    dialog.directory = box.directory().absolutePath();
    dialog.options = box.options();
    dialog.fileMode = box.fileMode();
    dialog.choosesDirectory = box.fileMode() != QFileDialog::AnyFile &&
                              box.fileMode() != QFileDialog::ExistingFile &&
                              box.fileMode() != QFileDialog::ExistingFiles;
    dialog.viewMode = box.viewMode();
    dialog.acceptMode = box.acceptMode();
    dialog.nameFilters = box.nameFilters();
}

ShownDialog described(const QWidget& widget)
{
    ShownDialog dialog;
    dialog.title = widget.windowTitle();
    dialog.parent = widget.parentWidget();
    if (const auto* message = qobject_cast<const QMessageBox*>(&widget))
        describeMessage(*message, dialog);
    else if (const auto* files = qobject_cast<const QFileDialog*>(&widget))
        describeFileDialog(*files, dialog);
    return dialog;
}

/// Several names stand in quotes in the dialog's field, one stands as it is.
QString typedText(const QStringList& paths)
{
    if (paths.size() == 1)
        return paths.first();
    return QLatin1Char('"') + paths.join(QStringLiteral("\" \"")) + QLatin1Char('"');
}

void press(QAbstractButton* button)
{
    QTest::mouseClick(button, Qt::LeftButton);
}

void chooseFiles(QFileDialog& dialog, const QStringList& paths)
{
    auto* const field = dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    auto* const buttons = dialog.findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"));
    field->setText(typedText(paths));
    const auto accepting =
        dialog.acceptMode() == QFileDialog::AcceptOpen ? QDialogButtonBox::Open : QDialogButtonBox::Save;
    press(buttons->button(accepting));
}

} // namespace

DialogDriver::DialogDriver(QObject* parent)
    : QObject(parent)
{
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settings.path());
    // Qt's dialog opens in the view that the user left it in, so a view of its own shows that the panel sets
    // one.
    QSettings(QSettings::UserScope, QStringLiteral("QtProject"))
        .setValue(QStringLiteral("FileDialog/viewMode"), QStringLiteral("List"));
    startTimer(pollIntervalMs);
}

void DialogDriver::expectMessage(QMessageBox::StandardButton answer)
{
    m_answers.push_back({ShownDialog::Kind::Message, answer, {}});
}

void DialogDriver::expectFileDialog(const QStringList& paths)
{
    m_answers.push_back({ShownDialog::Kind::File, QMessageBox::NoButton, paths});
}

void DialogDriver::expectCancelledFileDialog()
{
    expectFileDialog({});
}

ShownDialog DialogDriver::shownAt(std::size_t index) const
{
    return index < m_shown.size() ? m_shown[index] : ShownDialog();
}

ShownDialog DialogDriver::lastShown() const
{
    return m_shown.empty() ? ShownDialog() : m_shown.back();
}

QString DialogDriver::complaint() const
{
    QStringList problems = m_problems;
    if (!m_answers.empty())
        problems << QStringLiteral("%1 expected dialog(s) were not shown").arg(m_answers.size());
    return problems.join(QStringLiteral("; "));
}

void DialogDriver::timerEvent(QTimerEvent* event)
{
    Q_UNUSED(event)
    // Not here: a timer does not fire again inside its own event, and an answer may open a further dialog.
    QMetaObject::invokeMethod(this, &DialogDriver::lookForDialog, Qt::QueuedConnection);
}

void DialogDriver::lookForDialog()
{
    QWidget* const dialog = QApplication::activeModalWidget();
    if (dialog == nullptr || !dialog->isVisible())
        m_met.clear();
    else if (dialog == m_met)
        dismiss(dialog, QStringLiteral("did not close on its answer"));
    else
        meet(dialog);
}

void DialogDriver::meet(QWidget* dialog)
{
    m_met = dialog;
    const ShownDialog seen = described(*dialog);
    m_shown.push_back(seen);
    if (observer)
        observer(seen);
    if (m_answers.empty() || m_answers.front().kind != seen.kind) {
        dismiss(dialog, QStringLiteral("was not expected"));
        return;
    }
    const Answer next = std::move(m_answers.front());
    m_answers.pop_front();
    answer(dialog, next);
}

void DialogDriver::answer(QWidget* dialog, const Answer& answer)
{
    if (auto* const message = qobject_cast<QMessageBox*>(dialog)) {
        QAbstractButton* const button = message->button(answer.button);
        if (button == nullptr)
            dismiss(dialog, QStringLiteral("has no such button"));
        else
            press(button);
        return;
    }
    auto* const files = qobject_cast<QFileDialog*>(dialog);
    if (answer.paths.isEmpty())
        press(files->findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"))
                  ->button(QDialogButtonBox::Cancel));
    else
        chooseFiles(*files, answer.paths);
}

void DialogDriver::dismiss(QWidget* dialog, const QString& problem)
{
    const ShownDialog seen = described(*dialog);
    m_problems << QStringLiteral("dialog '%1' (%2) %3").arg(seen.title, seen.text, problem);
    if (auto* const asDialog = qobject_cast<QDialog*>(dialog))
        asDialog->reject();
    else
        dialog->close();
}

} // namespace KOZAV::Test
