#include "backend/config/IniValue.h"

#include <algorithm>
#include <array>

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

/// Reads a value character by character; m_problem says why it could not.
class ValueReader final
{
public:
    explicit ValueReader(const QString& text)
        : m_text(text)
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

    static bool isHexDigit(QChar c)
    {
        const char16_t u = c.toLower().unicode();
        return (u >= u'0' && u <= u'9') || (u >= u'a' && u <= u'f');
    }

    const QString& m_text;
    QString m_value;
    QString m_problem;
    int m_at = 0;
};

QString escaped(QChar c)
{
    for (const Escape& escape : escapes) {
        if (c == QChar(escape.meaning) && escape.letter != '\'')
            return QLatin1Char('\\') + QString(QLatin1Char(escape.letter));
    }
    return c.unicode() < 0x20 ? QStringLiteral("\\x%1").arg(c.unicode(), 0, 16) : QString(c);
}

bool needsQuotes(const QString& value)
{
    const auto special = [](QChar c) { return QStringLiteral(",;\"=#\\").contains(c) || c.unicode() < 0x20; };
    return value.isEmpty() || value.trimmed() != value || std::any_of(value.cbegin(), value.cend(), special);
}

} // namespace

Result<QString> decodeIniValue(const QString& text)
{
    return ValueReader(text).read();
}

QString encodeIniValue(const QString& value)
{
    if (!needsQuotes(value))
        return value;
    QString text;
    for (const QChar c : value)
        text += escaped(c);
    return QLatin1Char('"') + text + QLatin1Char('"');
}

} // namespace KOZAV::Backend
