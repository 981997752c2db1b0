#pragma once

#include "tests/support/BoundProcess.h"

#include <QImage>
#include <QPoint>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace KOZAV::Test {

/// A desktop of this test alone: an X server without a screen, a window manager, and somebody with keyboard
/// and mouse. Ends the test program where one of them does not come up.
class Desktop final
{
public:
    explicit Desktop(const QSize& size = QSize(1280, 800));
    ~Desktop();
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    /// Value of DISPLAY for programs that are to be on it.
    [[nodiscard]] QString display() const { return m_display; }
    [[nodiscard]] QSize size() const { return m_size; }

    /// Presses keys as xdotool names them: "ctrl+1", "Return", "alt+o".
    void press(const QString& keys) const;
    void type(const QString& text) const;
    /// @param button  1 left, 3 right, 4 wheel up, 5 wheel down
    void click(const QPoint& at, int button = 1, int times = 1) const;
    void moveTo(const QPoint& at) const;
    /// Asks the window manager to bring a program's window to the front and give it the keyboard.
    void activate(qint64 processId) const;
    /// Whether a program shows a window of this class, which is what a desktop knows its entry by.
    [[nodiscard]] bool showsClass(qint64 processId, const QString& windowClass) const;

    /// What is seen on it now.
    [[nodiscard]] QImage picture() const;
    /// Keeps the picture, as far as windows stand on it, as NAME.png in the folder that $ZAV_TEST_PICTURES
    /// names, where it does.
    /// @param name  may lead through folders below that one
    void takePicture(const QString& name) const;

private:
    void startWindowManager();
    [[nodiscard]] QByteArray tool(const QStringList& arguments, bool* ok = nullptr) const;

    QTemporaryDir m_folder;
    QSize m_size;
    QString m_display;
    BoundProcess m_server;
    BoundProcess m_windowManager;
};

} // namespace KOZAV::Test
