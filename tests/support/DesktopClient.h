#pragma once

#include "tests/support/BoundProcess.h"
#include "tests/support/Desktop.h"

#include <QLocalSocket>
#include <QMap>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <optional>
#include <vector>

namespace KOZAV::Test {

/// An entry of a table, a menu or a row of tabs.
struct SeenItem
{
    QString text;
    QRect rect; ///< on the desktop; empty where it is out of sight
    int row = 0;
    int column = 0;
};

/// A widget as it stands on the desktop.
struct SeenWidget
{
    QString id; ///< another one for each widget that is there at the same time
    QString name;
    QString className;
    QString text; ///< without the marks of mnemonics
    QRect rect;   ///< on the desktop
    QRect seen;   ///< what of it is not cut off by what it lies in
    bool enabled = false;
    bool focus = false;
    int rows = -1;               ///< of a view, all of them
    int current = -1;            ///< of a view, the current row
    std::vector<SeenItem> items; ///< of a view those of its first rows
};

/// The built zav_client in a window on a desktop, with a person before it: whatever is done comes through the
/// window system. What is there is told by tests/support/DesktopProbe.cpp, whose paths of widgets these
/// functions take. Those that return bool wait until they can do it, and print why they could not.
class DesktopClient final
{
public:
    /// With a person's own folder, which all its starts have.
    /// @param desktop  outlives this object
    explicit DesktopClient(const Desktop& desktop);
    ~DesktopClient();

    /// Starts the client and waits until its window, or a box before it, or what it asks at its first start,
    /// has the keyboard. A variable without
    /// a value is taken out of the environment.
    bool start(const QStringList& arguments, const QMap<QString, QString>& environment = {});
    /// Runs the client by another program, such as unshare.
    bool startBy(const QStringList& tool, const QStringList& arguments,
                 const QMap<QString, QString>& environment = {});

    /// What the client shows of that path now; nothing while it handles no events.
    [[nodiscard]] std::vector<SeenWidget> look(const QString& path);
    [[nodiscard]] bool shows(const QString& path);
    /// Waits for a widget of that path of which this is true.
    std::optional<SeenWidget> find(const QString& path,
                                   const std::function<bool(const SeenWidget&)>& holds = {});
    [[nodiscard]] bool waitUntilShown(const QString& path, int waitMs);
    /// @param waitMs  0: as long as everything else
    bool waitUntilGone(const QString& path, int waitMs = 0);
    /// Waits for an entry that has this in its text, in sight or not.
    bool showsText(const QString& path, const QString& part);
    /// Waits for an entry with this text that is in sight.
    std::optional<SeenItem> findItem(const QString& path, const QString& text);

    bool click(const QString& path, int button = 1);
    bool clickItem(const QString& path, const QString& text, int button = 1, int times = 1);
    /// Waits for a message box, which it answers with this button. @return its text; null where none came
    QString answer(const QString& button);
    /// Types a path into the file dialog that is open, and accepts it.
    bool chooseInDialog(const QString& path);

    /// The desktop entry that its windows belong to, as it says itself.
    [[nodiscard]] QString desktopFile();
    /// Brings the client to the front and waits until it has the keyboard.
    bool activate();
    /// Waits until nothing moves any more, and keeps the picture as Desktop::takePicture() does.
    void takePicture(const QString& name);
    [[nodiscard]] const QString& output();
    [[nodiscard]] bool isRunning() const { return m_process.state() == QProcess::Running; }
    void kill() { m_process.end(); }
    void send(int signal) const { m_process.send(signal); }
    /// Closes the window as the keyboard does. @return the exit code; -1 where it does not end
    int quit();
    [[nodiscard]] qint64 processId() const { return m_process.processId(); }

private:
    [[nodiscard]] std::optional<QJsonObject> ask(const QString& path);

    const Desktop& m_desktop;
    QTemporaryDir m_home;
    QTemporaryDir m_folder;
    BoundProcess m_process;
    QLocalSocket m_probe;
    int m_asked = 0;
    QString m_output;
};

} // namespace KOZAV::Test
