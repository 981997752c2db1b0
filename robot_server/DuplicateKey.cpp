#include "robot_server/DuplicateKey.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

namespace KOZAV::Robot {

namespace {

/// Gathers the member names of a document, each with the number of its object.
class KeyCollector final
{
public:
    explicit KeyCollector(const QByteArray& document)
        : m_document(document)
    {
    }

    std::vector<std::pair<int, QString>> collect();

private:
    void string();
    [[nodiscard]] QString text(int begin, int end) const;

    const QByteArray& m_document;
    int m_at = 0;
    int m_objects = 0;
    std::vector<int> m_open;
    std::vector<std::pair<int, QString>> m_keys;
};

std::vector<std::pair<int, QString>> KeyCollector::collect()
{
    for (; m_at < m_document.size(); ++m_at) {
        const char character = m_document.at(m_at);
        if (character == '"')
            string();
        else if (character == '{' || character == '[')
            m_open.push_back(m_objects++);
        else if (character == '}' || character == ']')
            m_open.pop_back();
    }
    return std::move(m_keys);
}

// Leaves m_at on the last byte before what follows the string and the white space behind it.
void KeyCollector::string()
{
    const int begin = ++m_at;
    while (m_document.at(m_at) != '"')
        m_at += m_document.at(m_at) == '\\' ? 2 : 1;
    const int end = m_at;
    int next = end + 1;
    while (next < m_document.size() && std::isspace(static_cast<unsigned char>(m_document.at(next))) != 0)
        ++next;
    if (next < m_document.size() && m_document.at(next) == ':')
        m_keys.emplace_back(m_open.back(), text(begin, end));
    m_at = next - 1;
}

QString KeyCollector::text(int begin, int end) const
{
    const QByteArray raw = m_document.mid(begin, end - begin);
    if (!raw.contains('\\'))
        return QString::fromUtf8(raw);
    return QJsonDocument::fromJson("[\"" + raw + "\"]").array().at(0).toString();
}

} // namespace

// Sorting bounds the work whatever the names are, where names could be made to collide in a hash table.
std::optional<QString> duplicateKey(const QByteArray& document)
{
    auto keys = KeyCollector(document).collect();
    std::sort(keys.begin(), keys.end());
    const auto twice = std::adjacent_find(keys.begin(), keys.end());
    if (twice == keys.end())
        return std::nullopt;
    return twice->second;
}

} // namespace KOZAV::Robot
