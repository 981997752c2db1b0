#pragma once

#include "host/core/Foresight.h"

#include <QAbstractTableModel>
#include <QString>

namespace KOZAV::Host {

/// What is foreseen, entry by entry, as it is found piece by piece.
class ForesightModel final : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { CompanyColumn, EntryColumn, OutlookColumn, BytesColumn, WhyColumn };
    /// Which rows are to be seen.
    enum class Show { All, Imported, Warned, NotImported, Open };
    /// The data by which rows are sorted.
    static constexpr int sortRole = Qt::UserRole;

    using QAbstractTableModel::QAbstractTableModel;

    void add(const ForesightPiece& piece);
    void clear();
    [[nodiscard]] const Foreseen& foreseen() const { return m_foreseen; }
    /// Whether a row belongs to what is to be shown, and has all words of a text in its company, entry or
    /// reasons.
    [[nodiscard]] bool matches(int row, Show show, const QString& text) const;
    /// What an entry's reason and warnings mean and what is to be done, for people; with the particulars.
    [[nodiscard]] QString details(int row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] const ForeseenEntry& entry(int row) const;

    Foreseen m_foreseen;
};

/// A number of bytes with a unit, such as "1.2 MB".
QString bytesText(qint64 bytes);

} // namespace KOZAV::Host
