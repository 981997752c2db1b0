#pragma once

class QComboBox;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QWidget;

namespace KOZAV::Host {

/// The controls with which an operator imports a batch directory in the file import panel, found by what they
/// show. Owned by the panel; null where it has no such control.
struct BatchBox
{
    QPushButton* openButton = nullptr;   ///< opens the dialog for the directory
    QPushButton* clearButton = nullptr;  ///< clears the field; the panel keeps the directory
    QPushButton* importButton = nullptr; ///< its slot imports the whole batch and then returns
    QLineEdit* directory = nullptr;      ///< the directory as it was chosen last; may be cleared
    QProgressBar* progress = nullptr;    ///< companies that are done
};

BatchBox batchBoxOf(const QWidget& panel);

/// The same for one archive or one job folder.
struct SingleBox
{
    QPushButton* clearButton = nullptr;
    QPushButton* importButton = nullptr; ///< its slot imports the source and then returns
    QLineEdit* path = nullptr; ///< the source as it was chosen last; nothing is imported while empty
    QComboBox* company = nullptr;
};

SingleBox singleBoxOf(const QWidget& panel);

} // namespace KOZAV::Host
