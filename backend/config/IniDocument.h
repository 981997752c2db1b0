#pragma once

#include "backend/Status.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

namespace KOZAV::Backend {

/// The text to the right of a "=" that is read as value, in one line.
QString encodeIniValue(const QString& value);

/// A configuration file as lines: sections, "key = value" and comments, in the dialect of QSettings' INI
/// format with UTF-8. Stricter than its reader, which passes over what it cannot read: every line is
/// understood or refused, and a change keeps all other lines.
class IniDocument final
{
public:
    struct Entry
    {
        QString key; ///< "section/key"
        QString value;
        int line = 0; ///< from 1
    };

    /// A failure's message begins with the line, as in "line 3: ...".
    static Result<IniDocument> parse(const QByteArray& bytes);

    [[nodiscard]] const std::vector<Entry>& entries() const { return m_entries; }

    /// Sets the value of a key: in its line, in the line where a comment proposes it, or in a new line of its
    /// section.
    void setValue(const QString& key, const QString& value);

    [[nodiscard]] QByteArray toBytes() const;

private:
    Status readSection(const QString& line, int number);
    Status readEntry(const QString& line, int number);
    [[nodiscard]] int lineOf(const QString& section, const QString& name) const;
    [[nodiscard]] int endOfSection(const QString& section) const;

    QStringList m_lines;
    std::vector<Entry> m_entries;
    QString m_section;
    QStringList m_sections;
};

} // namespace KOZAV::Backend
