#pragma once

#include "backend/Status.h"

#include <QVariantList>

#include <string>

namespace KOZAV::Backend {

/// The values of one statement, in its order, from the arguments of a service operation. The first argument
/// that cannot be stored as it is is remembered: status() is to be asked before the values are used.
class RowValues final
{
public:
    /// @param what  the argument in words, for the failure
    RowValues& text(const char* what, const std::string& utf8);
    RowValues& text(const QString& value);
    RowValues& number(int value);
    /// The current time.
    RowValues& time();

    [[nodiscard]] const Status& status() const { return m_status; }
    [[nodiscard]] const QVariantList& list() const { return m_values; }

private:
    QVariantList m_values;
    Status m_status;
};

} // namespace KOZAV::Backend
