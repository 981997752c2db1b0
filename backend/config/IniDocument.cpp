#include "backend/config/IniDocument.h"

#include "backend/Text.h"
#include "backend/config/Redaction.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <utility>

namespace KOZAV::Backend {

namespace {

struct Escape
{
    char letter;
    char16_t meaning;
};

constexpr std::array<Escape, 10> escapes = {{{'"', u'"'},
                                             {'\\', u'\\'},
                                             {'\'', u'\''},
                                             {'a', u'\a'},
                                             {'b', u'\b'},
                                             {'f', u'\f'},
                                             {'n', u'\n'},
                                             {'r', u'\r'},
                                             {'t', u'\t'},
                                             {'v', u'\v'}}};

bool isHexDigit(QChar c)
{
    const char16_t u = c.toLower().unicode();
    return (u >= u'0' && u <= u'9') || (u >= u'a' && u <= u'f');
}

/// Reads a value character by character; m_problem says why it could not.
class ValueReader final
{
public:
    explicit ValueReader(QString text)
        : m_text(std::move(text))
    {
    }

    Result<QString> read()
    {
        if (m_text.startsWith(QLatin1Char('"')))
            readQuoted();
        else
            readPlain();
        if (!m_problem.isEmpty())
            return Status::configuration(m_problem);
        return m_value;
    }

private:
    void readQuoted()
    {
        for (m_at = 1; m_at < m_text.size() && m_problem.isEmpty(); ++m_at) {
            const QChar c = m_text.at(m_at);
            if (c == QLatin1Char('"'))
                return readRest(m_text.mid(m_at + 1).trimmed());
            if (c == QLatin1Char('\\'))
                readEscape();
            else
                m_value += c;
        }
        if (m_problem.isEmpty())
            m_problem = QStringLiteral("begins with a double quote that is not closed");
    }

    void readRest(const QString& rest)
    {
        if (rest.startsWith(QLatin1Char(',')))
            m_problem = QStringLiteral("is a list (%1), but one text is due").arg(m_text);
        else if (!rest.isEmpty() && !rest.startsWith(QLatin1Char(';')) && !rest.startsWith(QLatin1Char('#')))
            m_problem = QStringLiteral("has text after its closing double quote (%1)").arg(rest);
    }

    void readPlain()
    {
        for (m_at = 0; m_at < m_text.size() && m_problem.isEmpty(); ++m_at) {
            const QChar c = m_text.at(m_at);
            if (isCommentStart(c))
                break;
            if (c == QLatin1Char('\\'))
                readEscape();
            else
                readPlainCharacter(c);
        }
        m_value = m_value.trimmed();
    }

    void readPlainCharacter(QChar c)
    {
        if (c == QLatin1Char(','))
            m_problem = QStringLiteral(
                            "is a list (%1), but one text is due: put a text with a comma in double quotes")
                            .arg(m_text);
        else if (c == QLatin1Char(';') || c == QLatin1Char('"') || (c == QLatin1Char('#') && followsSpace()))
            m_problem =
                QStringLiteral("holds %1 (%2): put a text with it in double quotes").arg(c).arg(m_text);
        m_value += c;
    }

    [[nodiscard]] bool followsSpace() const { return m_at == 0 || m_text.at(m_at - 1).isSpace(); }
    [[nodiscard]] bool isCommentStart(QChar c) const { return c == QLatin1Char(';') && followsSpace(); }

    void readEscape()
    {
        if (++m_at >= m_text.size()) {
            m_problem = QStringLiteral("ends in a single backslash: write two for one");
            return;
        }
        const QChar letter = m_text.at(m_at);
        if (letter == QLatin1Char('x'))
            return readHexadecimal();
        for (const Escape& escape : escapes) {
            if (letter == QLatin1Char(escape.letter)) {
                m_value += QChar(escape.meaning);
                return;
            }
        }
        m_problem =
            QStringLiteral("holds \\%1, which means nothing: write two backslashes for one").arg(letter);
    }

    void readHexadecimal()
    {
        const int start = m_at + 1;
        int end = start;
        while (end < m_text.size() && isHexDigit(m_text.at(end)))
            ++end;
        bool ok = false;
        const uint code = m_text.mid(start, end - start).toUInt(&ok, 16);
        if (!ok || code > 0xffff)
            m_problem = QStringLiteral("holds \\x without one to four hexadecimal digits");
        else
            m_value += QChar(code);
        m_at = end - 1;
    }

    const QString m_text;
    QString m_value;
    QString m_problem;
    int m_at = 0;
};

QString hexadecimal(QChar c)
{
    return QStringLiteral("\\x%1").arg(c.unicode(), 0, 16);
}

QString escaped(QChar c)
{
    for (const Escape& escape : escapes) {
        if (c == QChar(escape.meaning) && escape.letter != '\'')
            return QLatin1Char('\\') + QString(QLatin1Char(escape.letter));
    }
    return c.unicode() < 0x20 ? hexadecimal(c) : QString(c);
}

bool needsQuotes(const QString& value)
{
    const auto special = [](QChar c) { return QStringLiteral(",;\"=#\\").contains(c) || c.unicode() < 0x20; };
    return value.isEmpty() || value.trimmed() != value || std::any_of(value.cbegin(), value.cend(), special);
}

Status lineFailure(int number, const QString& problem)
{
    return Status::configuration(QStringLiteral("line %1: %2").arg(number).arg(withoutPassword(problem)));
}

/// Line feeds part lines in every encoding that extends ASCII, so a broken line can be named before it is
/// decoded.
Status checkUtf8(const QByteArray& bytes)
{
    const QList<QByteArray> lines = bytes.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        if (!isValidUtf8(lines.at(i).toStdString()))
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
    const auto encoding = checkUtf8(bytes);
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
        const auto status = section ? document.readSection(line, i + 1) : document.readEntry(line, i + 1);
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
    const auto value = ValueReader(line.mid(equals + 1).trimmed()).read();
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

QString encodeIniValue(const QString& value)
{
    if (!needsQuotes(value))
        return value;
    QString text;
    bool openNumber = false;
    for (const QChar c : value) {
        // A digit behind a number would be read as one of its own.
        const QString piece = openNumber && isHexDigit(c) ? hexadecimal(c) : escaped(c);
        openNumber = piece.startsWith(QLatin1String("\\x"));
        text += piece;
    }
    return QLatin1Char('"') + text + QLatin1Char('"');
}

QByteArray IniDocument::toBytes() const
{
    return m_lines.join(QLatin1Char('\n')).toUtf8();
}

} // namespace KOZAV::Backend
