#pragma once

#include <QByteArray>

#include <cstring>
#include <string>

namespace KOZAV::Samples {

/// Text of records, appended piece by piece. Numbers are written without a look at the locale.
class RecordBuffer final
{
public:
    RecordBuffer& text(const char* text)
    {
        m_text.append(text, std::strlen(text));
        return *this;
    }
    RecordBuffer& text(const QByteArray& text)
    {
        m_text.append(text.constData(), static_cast<std::size_t>(text.size()));
        return *this;
    }
    RecordBuffer& letter(char letter)
    {
        m_text.push_back(letter);
        return *this;
    }
    RecordBuffer& number(quint64 number);
    /// A length in millionths of the job's unit as a decimal fraction without trailing zeros: 1250000 is
    /// "1.25".
    RecordBuffer& length(qint64 millionths);

    [[nodiscard]] const char* data() const { return m_text.data(); }
    [[nodiscard]] quint64 size() const { return m_text.size(); }
    [[nodiscard]] QByteArray bytes() const { return QByteArray::fromStdString(m_text); }
    void clear() { m_text.clear(); }

private:
    std::string m_text;
};

} // namespace KOZAV::Samples
