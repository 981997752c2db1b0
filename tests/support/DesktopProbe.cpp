// Tells a test what a program shows: a plugin of Qt that the program under test loads because its environment
// names it. It only looks; whatever is done to the program comes through the window system. It answers while
// the program handles events, also in a modal box.
//
// A request is a line: a number, a blank, the path of a widget. The answer is a line of JSON with the number,
// the visible widgets of that path and the desktop entry that the program names. A path is pieces parted by "
// > ", each an object name or a class, with
// "=TEXT" behind it where the text counts; the pieces before the last are ancestors, in order.

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QGenericPlugin>
#include <QGroupBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressBar>
#include <QScreen>
#include <QTabBar>
#include <QWindow>

namespace KOZAV::Test {

namespace {

/// Of a view these are told, also where they are out of sight.
constexpr int mostRows = 200;

QString withoutMnemonic(QString text)
{
    return text.remove(QLatin1Char('&'));
}

QString textOf(const QWidget& widget)
{
    if (const auto* button = qobject_cast<const QAbstractButton*>(&widget))
        return withoutMnemonic(button->text());
    if (const auto* label = qobject_cast<const QLabel*>(&widget))
        return withoutMnemonic(label->text());
    if (const auto* line = qobject_cast<const QLineEdit*>(&widget))
        return line->text();
    if (const auto* box = qobject_cast<const QComboBox*>(&widget))
        return box->currentText();
    if (const auto* group = qobject_cast<const QGroupBox*>(&widget))
        return withoutMnemonic(group->title());
    if (const auto* message = qobject_cast<const QMessageBox*>(&widget))
        return message->text();
    if (const auto* bar = qobject_cast<const QProgressBar*>(&widget))
        return bar->text();
    return widget.windowTitle();
}

/// In pixels of the screen, as the window system counts them.
QJsonArray placeOf(const QWidget& widget, const QRect& rect)
{
    const qreal ratio = QGuiApplication::primaryScreen()->devicePixelRatio();
    const QPoint at = widget.mapToGlobal(rect.topLeft());
    return {at.x() * ratio, at.y() * ratio, rect.width() * ratio, rect.height() * ratio};
}

QJsonObject item(const QWidget& widget, const QString& text, const QRect& rect, int row, int column)
{
    return {{QStringLiteral("text"), withoutMnemonic(text)},
            {QStringLiteral("rect"), placeOf(widget, rect)},
            {QStringLiteral("row"), row},
            {QStringLiteral("column"), column}};
}

QJsonArray itemsOf(const QAbstractItemView& view)
{
    QJsonArray items;
    const auto* model = view.model();
    if (!model)
        return items;
    const QRect seen = view.viewport()->rect();
    for (int row = 0; row < qMin(mostRows, model->rowCount(view.rootIndex())); ++row) {
        for (int column = 0; column < model->columnCount(view.rootIndex()); ++column) {
            const QModelIndex index = model->index(row, column, view.rootIndex());
            items << item(*view.viewport(), index.data().toString(), view.visualRect(index) & seen, row,
                          column);
        }
    }
    return items;
}

template <class Bar>
QJsonArray actionsOf(const Bar& bar)
{
    QJsonArray items;
    for (const QAction* action : bar.actions()) {
        if (action->isVisible() && !action->isSeparator())
            items << item(bar, action->text(), bar.actionGeometry(const_cast<QAction*>(action)), items.size(),
                          0);
    }
    return items;
}

QJsonArray itemsOf(const QWidget& widget)
{
    if (const auto* view = qobject_cast<const QAbstractItemView*>(&widget))
        return itemsOf(*view);
    if (const auto* menu = qobject_cast<const QMenu*>(&widget))
        return actionsOf(*menu);
    if (const auto* bar = qobject_cast<const QMenuBar*>(&widget))
        return actionsOf(*bar);
    QJsonArray items;
    if (const auto* tabs = qobject_cast<const QTabBar*>(&widget)) {
        for (int tab = 0; tab < tabs->count(); ++tab)
            items << item(*tabs, tabs->tabText(tab), tabs->tabRect(tab), tab, tabs->currentIndex());
    }
    return items;
}

/// What of it is not cut off by what it lies in.
QRect uncovered(const QWidget& widget)
{
    QRect rect = widget.rect();
    for (const QWidget* inner = &widget; !inner->isWindow() && inner->parentWidget();
         inner = inner->parentWidget()) {
        const QPoint offset = widget.mapTo(inner->parentWidget(), QPoint());
        rect &= inner->parentWidget()->rect().translated(-offset);
    }
    return rect;
}

QJsonObject describe(const QWidget& widget)
{
    QJsonObject seen{{QStringLiteral("id"), QString::number(reinterpret_cast<quintptr>(&widget))},
                     {QStringLiteral("name"), widget.objectName()},
                     {QStringLiteral("class"), QString::fromLatin1(widget.metaObject()->className())},
                     {QStringLiteral("text"), textOf(widget)},
                     {QStringLiteral("rect"), placeOf(widget, widget.rect())},
                     {QStringLiteral("seen"), placeOf(widget, uncovered(widget))},
                     {QStringLiteral("enabled"), widget.isEnabled()},
                     {QStringLiteral("focus"), widget.hasFocus()},
                     {QStringLiteral("items"), itemsOf(widget)}};
    if (const auto* view = qobject_cast<const QAbstractItemView*>(&widget); view && view->model()) {
        seen.insert(QStringLiteral("rows"), view->model()->rowCount(view->rootIndex()));
        seen.insert(QStringLiteral("current"), view->currentIndex().row());
    }
    return seen;
}

bool fits(const QWidget& widget, const QString& piece)
{
    const QString kind = piece.section(QLatin1Char('='), 0, 0);
    if (widget.objectName() != kind && !widget.inherits(kind.toLatin1().constData()))
        return false;
    return !piece.contains(QLatin1Char('=')) || textOf(widget) == piece.section(QLatin1Char('='), 1);
}

bool fits(const QWidget& widget, QStringList path)
{
    if (!fits(widget, path.takeLast()))
        return false;
    for (const QWidget* above = widget.parentWidget(); above && !path.isEmpty();
         above = above->parentWidget()) {
        if (fits(*above, path.last()))
            path.removeLast();
    }
    return path.isEmpty();
}

QByteArray answer(const QByteArray& request)
{
    const int blank = request.indexOf(' ');
    const QStringList path = QString::fromUtf8(request.mid(blank + 1)).split(QStringLiteral(" > "));
    QJsonArray found;
    for (const QWidget* widget : QApplication::allWidgets()) {
        if (widget->isVisible() && fits(*widget, path))
            found << describe(*widget);
    }
    const QWidget* active = QApplication::activeWindow();
    const QJsonObject all{{QStringLiteral("number"), request.left(blank).toInt()},
                          {QStringLiteral("active"), active && active->windowHandle()->isExposed()},
                          {QStringLiteral("desktopFile"), QGuiApplication::desktopFileName()},
                          {QStringLiteral("found"), found}};
    return QJsonDocument(all).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

class DesktopProbe final : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "DesktopProbe.json")
public:
    QObject* create(const QString& /*key*/, const QString& socketPath) override
    {
        auto* server = new QLocalServer;
        if (!server->listen(socketPath))
            qFatal("no probe at %s", qUtf8Printable(socketPath));
        QObject::connect(server, &QLocalServer::newConnection, server, [server] {
            QLocalSocket* test = server->nextPendingConnection();
            QObject::connect(test, &QLocalSocket::readyRead, test, [test] {
                while (test->canReadLine())
                    test->write(answer(test->readLine().trimmed()));
            });
        });
        return server;
    }
};

} // namespace KOZAV::Test

#include "DesktopProbe.moc"
