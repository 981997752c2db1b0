#pragma once

#include <QWidget>

class QTabWidget;
class QVBoxLayout;

namespace KOZAV::Host {

/// The middle of the window: pages of which one is seen, and strips above them that are seen always. A page
/// scrolls where the window is smaller than it needs.
class Pages final : public QWidget
{
    Q_OBJECT
public:
    explicit Pages(QWidget* parent = nullptr);

    /// @param objectName  by which the page is shown; becomes the page's own
    void add(const QString& objectName, const QString& title, QWidget* page);
    /// Below the strips that are there.
    void addStrip(QWidget* strip);

    [[nodiscard]] int count() const;
    [[nodiscard]] QString title(int index) const;
    /// The page that is seen.
    [[nodiscard]] QWidget* current() const;
    /// Shows a page and gives it the keyboard.
    void show(int index);
    void show(const QString& objectName);
    /// Shows a page and leaves the keyboard where it is.
    void bring(const QString& objectName);

Q_SIGNALS:
    void added();

private:
    [[nodiscard]] QWidget* page(int index) const;

    QVBoxLayout* m_layout;
    QTabWidget* m_tabs;
};

} // namespace KOZAV::Host
