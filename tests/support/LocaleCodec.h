#pragma once

#include <QTextCodec>

namespace KOZAV::Test {

/// Sets the local 8-bit code page of this process for its lifetime. With a code page that is not UTF-8 the
/// paths that are handed on in local 8-bit differ from the texts that are handed on in UTF-8.
class LocaleCodec final
{
public:
    explicit LocaleCodec(const char* name)
        : m_before(QTextCodec::codecForLocale())
    {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(name));
    }
    ~LocaleCodec() { QTextCodec::setCodecForLocale(m_before); }
    LocaleCodec(const LocaleCodec&) = delete;
    LocaleCodec& operator=(const LocaleCodec&) = delete;

private:
    QTextCodec* m_before;
};

} // namespace KOZAV::Test
