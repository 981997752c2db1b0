#pragma once

#include <QObject>

class QMainWindow;
class QMenu;

namespace KOZAV::Host {

class MainDocks;
class Pages;

/// The menus of the window: everything in it can be done and reached by keyboard. Pages have Ctrl+1 and so
/// on, F6 goes round the parts of the window, Ctrl+F to the field that searches the page.
class MainMenu final : public QObject
{
    Q_OBJECT
public:
    /// @param window  becomes the owner; pages and docks are all there and outlive this object
    MainMenu(QMainWindow& window, Pages& pages, const MainDocks& docks);

    /// For what others have to offer; it ends with the quitting.
    [[nodiscard]] QMenu* file() const { return m_file; }
    [[nodiscard]] QMenu* help() const { return m_help; }

Q_SIGNALS:
    void refreshWanted();
    /// What the person asked for is not there, in words.
    void told(const QString& text);

private:
    void buildFile();
    void buildEdit();
    void buildView(const MainDocks& docks);
    void buildHelp();
    [[nodiscard]] QString partInFront() const;
    void copy();
    void find();
    void goToNextPart(int step);

    QMainWindow& m_window;
    Pages& m_pages;
    QMenu* m_file;
    QMenu* m_edit;
    QMenu* m_view;
    QMenu* m_help;
    QList<QWidget*> m_parts; ///< that F6 goes round
};

} // namespace KOZAV::Host
