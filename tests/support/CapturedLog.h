#pragma once

#include <QString>
#include <QStringList>

namespace KOZAV::Test {

/// Collects what this process logs while it lives, as "category: message", instead of writing it out.
class CapturedLog final
{
public:
    CapturedLog();
    ~CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    [[nodiscard]] static QStringList of(QtMsgType type);

private:
    QtMessageHandler m_before;
};

} // namespace KOZAV::Test
