// The panels' dialogs are modal and made by static calls, so nobody hands them over. A timer looks for the
// one that is open: a dialog runs an event loop of its own, in which the timer goes on. Each look answers at
// most one. A file dialog gets the directory once; another one, or one that cannot be worked, is cancelled
// rather than left to wait for ever.

#include "host/DialogOperator.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

namespace KOZAV::Host {

DialogOperator::DialogOperator(QObject* parent)
    : QObject(parent)
{
    m_timer.setInterval(5);
    connect(&m_timer, &QTimer::timeout, this, &DialogOperator::answerDialog);
    m_timer.start();
}

void DialogOperator::chooseDirectory(const QString& directory)
{
    m_directory = directory;
}

void DialogOperator::answerDialog()
{
    QWidget* modal = QApplication::activeModalWidget();
    if (auto* box = qobject_cast<QMessageBox*>(modal))
        answer(*box);
    else if (auto* dialog = qobject_cast<QFileDialog*>(modal))
        answer(*dialog);
}

void DialogOperator::answer(QFileDialog& dialog)
{
    auto* name = dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    auto* buttons = dialog.findChild<QDialogButtonBox*>();
    QPushButton* choose = buttons ? buttons->button(QDialogButtonBox::Open) : nullptr;
    if (!name || !choose || m_directory.isEmpty()) {
        dialog.reject();
        return;
    }
    name->setText(m_directory);
    m_directory.clear();
    choose->click();
}

void DialogOperator::answer(QMessageBox& box)
{
    Q_EMIT messageRead(box.windowTitle(), box.text());
    for (const auto agreeing : {QMessageBox::Yes, QMessageBox::Ok}) {
        if (QAbstractButton* button = box.button(agreeing)) {
            button->click();
            return;
        }
    }
    box.reject();
}

} // namespace KOZAV::Host
