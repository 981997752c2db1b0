#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

class QFileDialog;
class QMessageBox;

namespace KOZAV::Host {

/// Answers the modal dialogs of the panels as an operator would, while the program runs unattended: types the
/// directory into a directory chooser and accepts it, reads message boxes and agrees (Yes or Ok).
///
/// The dialogs must be Qt's own (Qt::AA_DontUseNativeDialogs).
class DialogOperator final : public QObject
{
    Q_OBJECT
public:
    explicit DialogOperator(QObject* parent = nullptr);

    /// What to choose in the next directory chooser.
    void chooseDirectory(const QString& directory);

Q_SIGNALS:
    /// A message box was read, and is then agreed to.
    void messageRead(const QString& title, const QString& text);

private:
    void answerDialog();
    void answer(QFileDialog& dialog);
    void answer(QMessageBox& box);

    QTimer m_timer;
    QString m_directory;
};

} // namespace KOZAV::Host
