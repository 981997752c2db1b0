#pragma once

#include <QString>
#include <QStringList>

#include <map>
#include <string>

namespace KOZAV::Test {

/// An argument as the journal shows it: texts in quotes, numbers bare, condition maps in braces. Bytes that
/// are not UTF-8 appear as \xNN, so that a path in another code page is told from its UTF-8 form.
QString rendered(const std::string& text);
QString rendered(const char* text);
QString rendered(const QString& text);
QString rendered(int number);
QString rendered(const std::map<std::string, std::string>& conditions);
QString rendered(const std::map<std::string, int>& conditions);

/// A journal entry: call("UpdateBatchNumber", 5, 7) is UpdateBatchNumber(5, 7).
template <typename... Arguments>
QString call(const char* operation, const Arguments&... arguments)
{
    const QStringList texts{rendered(arguments)...};
    return QLatin1String(operation) + QLatin1Char('(') + texts.join(QStringLiteral(", ")) + QLatin1Char(')');
}

/// Where two journals part, with both in full; empty when they are equal.
QString journalDifference(const QStringList& actual, const QStringList& expected);

} // namespace KOZAV::Test
