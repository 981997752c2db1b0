#pragma once

#include <QDialog>
#include <QString>
#include <QStringList>

#include <vector>

class QDialogButtonBox;
class QLabel;
class QLineEdit;

namespace KOZAV::Host {

/// Adds companies that a source names and the site does not have, by these names: asks for the code of each.
/// One that is given no code is left out.
class AddCompaniesDialog final : public QDialog
{
    Q_OBJECT
public:
    explicit AddCompaniesDialog(const QStringList& names, QWidget* parent = nullptr);

    /// Whether the site has more companies than before.
    [[nodiscard]] bool hasAdded() const { return m_hasAdded; }

public Q_SLOTS:
    /// Adds them, and ends where all are added.
    void accept() override;
    /// Not while they are being added.
    void reject() override;

private:
    struct Row
    {
        QString name;
        QLineEdit* code;
    };

    QWidget* buildRows(const QStringList& names);
    void showEntered();
    void showAdded(const QStringList& failures);

    std::vector<Row> m_rows;
    QLabel* m_state = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
    bool m_hasAdded = false;
    bool m_working = false;
};

} // namespace KOZAV::Host
