#pragma once

#include <QMainWindow>

class QTableView;

namespace KOZAV::UI {
class ZAV_ImportFromFile_Widget;
}

namespace KOZAV::Host {

class OrigFileModel;
class SiteAccess;

/// The client's window: the file import panel and the table of original files, which reloads when the panel
/// asks.
class MainWindow final : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(SiteAccess& site, QWidget* parent = nullptr);

    [[nodiscard]] UI::ZAV_ImportFromFile_Widget* importPanel() const { return m_importPanel; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildFileTable();
    void reloadFiles();

    SiteAccess& m_site;
    UI::ZAV_ImportFromFile_Widget* m_importPanel;
    OrigFileModel* m_files;
    QTableView* m_fileTable;
};

} // namespace KOZAV::Host
