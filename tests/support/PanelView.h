#pragma once

class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QString;
class QWidget;

namespace KOZAV::Test {

/// The controls of a file import panel, found as an operator finds them: by box and by text. Ends the test
/// program where one is missing.
class PanelView final
{
public:
    explicit PanelView(const QWidget& panel);

    QGroupBox* batchBox;
    QPushButton* openFolder;
    QLineEdit* batchPath;
    QPushButton* batchClear;
    QPushButton* batchImport;
    QLabel* processing;
    QProgressBar* progress;

    QGroupBox* singleBox;
    QPushButton* openFile;
    QPushButton* openDir;
    QLineEdit* singlePath;
    QPushButton* singleClear;
    QLabel* companyLabel;
    QComboBox* company;
    QLabel* fileNameLabel;
    QLineEdit* fileName;
    QPushButton* singleImport;
};

} // namespace KOZAV::Test
