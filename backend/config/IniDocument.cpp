#include "backend/config/IniDocument.h"

#include "backend/config/IniValue.h"
#include "backend/config/Redaction.h"

#include <QRegularExpression>
#include <QTextCodec>

#include <algorithm>

namespace KOZAV::Backend {

namespace {

constexpr int utf8Mib = 106;

Status lineFailure(int number, const QString& problem)
{
    return Status::configuration(QStringLiteral("line %1: %2").arg(number).arg(withoutPassword(problem)));
}

bool isUtf8(const QByteArray& bytes)
{
    QTextCodec::ConverterState state;
    QTextCodec::codecForMib(utf8Mib)->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

/// Line feeds part lines in every encoding that extends ASCII, so a broken line can be named before it is
/// decoded.
Status checkUtf8(const QByteArray& bytes)
{
    const QList<QByteArray> lines = bytes.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        if (!isUtf8(lines.at(i)))
            return lineFailure(i + 1, QStringLiteral("not UTF-8, the encoding that is accepted"));
    }
    return {};
}

bool isComment(const QString& line)
{
    return line.startsWith(QLatin1Char(';')) || line.startsWith(QLatin1Char('#'));
}

/// Name of the section that a trimmed line opens; empty if it opens none.
QString openedSection(const QString& line)
{
    const bool opens = line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'));
    return opens ? line.mid(1, line.size() - 2).trimmed() : QString();
}

} // namespace

Result<IniDocument> IniDocument::parse(const QByteArray& bytes)
{
    const Status encoding = checkUtf8(bytes);
    if (!encoding.ok())
        return encoding;
    IniDocument document;
    // With its size: without it a NUL would end the text.
    document.m_lines = QString::fromUtf8(bytes.constData(), bytes.size()).split(QLatin1Char('\n'));
    for (int i = 0; i < document.m_lines.size(); ++i) {
        const QString line = document.m_lines.at(i).trimmed();
        if (line.isEmpty() || isComment(line))
            continue;
        const bool section = line.startsWith(QLatin1Char('['));
        const Status status = section ? document.readSection(line, i + 1) : document.readEntry(line, i + 1);
        if (!status.ok())
            return status;
    }
    return document;
}

Status IniDocument::readSection(const QString& line, int number)
{
    m_section = openedSection(line);
    if (m_section.isEmpty())
        return lineFailure(number, QStringLiteral("\"%1\" is not a section; accepted is [name]").arg(line));
    if (m_sections.contains(m_section))
        return lineFailure(
            number, QStringLiteral("section [%1] stands a second time; accepted is once").arg(m_section));
    m_sections.append(m_section);
    return {};
}

Status IniDocument::readEntry(const QString& line, int number)
{
    const int equals = line.indexOf(QLatin1Char('='));
    const QString name = line.left(equals).trimmed();
    if (equals < 0 || name.isEmpty())
        return lineFailure(number,
                           QStringLiteral("\"%1\" is not an entry; accepted is key = value").arg(line));
    if (m_section.isEmpty())
        return lineFailure(number, QStringLiteral("\"%1\" stands before the first section").arg(name));

    const QString key = m_section + QLatin1Char('/') + name;
    const auto same = [&key](const Entry& entry) { return entry.key == key; };
    const auto first = std::find_if(m_entries.cbegin(), m_entries.cend(), same);
    if (first != m_entries.cend())
        return lineFailure(number,
                           QStringLiteral("%1 stands a second time, first in line %2; accepted is once")
                               .arg(key)
                               .arg(first->line));
    const Result<QString> value = decodeIniValue(line.mid(equals + 1).trimmed());
    if (!value.ok())
        return lineFailure(number, key + QLatin1Char(' ') + value.message());
    m_entries.push_back({key, value.value(), number});
    return {};
}

void IniDocument::setValue(const QString& key, const QString& value)
{
    const QString section = key.section(QLatin1Char('/'), 0, 0);
    const QString name = key.section(QLatin1Char('/'), 1);
    const QString line = name + QStringLiteral(" = ") + encodeIniValue(value);
    const int present = lineOf(section, name);
    if (present >= 0)
        m_lines[present] = line;
    else if (m_sections.contains(section))
        m_lines.insert(endOfSection(section), line);
    else
        m_lines << QLatin1Char('[') + section + QLatin1Char(']') << line << QString();
}

/// Index of the line that sets the key, or else of the comment that proposes it; -1 if there is neither.
int IniDocument::lineOf(const QString& section, const QString& name) const
{
    const QString escapedName = QRegularExpression::escape(name);
    const QRegularExpression sets(QStringLiteral("^\\s*%1\\s*=").arg(escapedName));
    const QRegularExpression proposes(QStringLiteral("^\\s*[;#]\\s*%1\\s*=").arg(escapedName));
    QString current;
    int proposal = -1;
    for (int i = 0; i < m_lines.size(); ++i) {
        const QString opened = openedSection(m_lines.at(i).trimmed());
        if (!opened.isEmpty())
            current = opened;
        if (current != section)
            continue;
        if (sets.match(m_lines.at(i)).hasMatch())
            return i;
        if (proposal < 0 && proposes.match(m_lines.at(i)).hasMatch())
            proposal = i;
    }
    return proposal;
}

/// Index behind the last line of the section that is not empty.
int IniDocument::endOfSection(const QString& section) const
{
    QString current;
    int end = 0;
    for (int i = 0; i < m_lines.size(); ++i) {
        const QString line = m_lines.at(i).trimmed();
        const QString opened = openedSection(line);
        if (!opened.isEmpty())
            current = opened;
        if (current == section && !line.isEmpty())
            end = i + 1;
    }
    return end;
}

QByteArray IniDocument::toBytes() const
{
    return m_lines.join(QLatin1Char('\n')).toUtf8();
}

} // namespace KOZAV::Backend
