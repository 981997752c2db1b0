#include "tests/fault/GridFsTrial.h"

#include "tests/support/TestFiles.h"

#include <QElapsedTimer>
#include <QTest>

namespace KOZAV::Test {

namespace {

constexpr int chunkSize = 255 * 1024;

const QString& password()
{
    static const QString text = QStringLiteral("Secret/Word:1");
    return text;
}

} // namespace

PeerOptions trialServer(bool replicaSet)
{
    PeerOptions options;
    options.replicaSet = replicaSet ? QStringLiteral("rs0") : QString();
    options.user = QStringLiteral("operator");
    options.password = password();
    return options;
}

QString trialTimeouts()
{
    return QStringLiteral("serverSelectionTimeoutMS=%1&connectTimeoutMS=%1&socketTimeoutMS=%1")
        .arg(trialTimeoutMs);
}

const QByteArray& trialContent()
{
    static const QByteArray content = randomBytes((trialChunks - 1) * chunkSize + 1000, 17);
    return content;
}

bool endsInTime(const std::function<void()>& call)
{
    QElapsedTimer timer;
    timer.start();
    call();
    return timer.elapsed() < longestCallMs;
}

bool recovers(const std::function<bool()>& call)
{
    return QTest::qWaitFor(call, recoveryMs);
}

QString faultOfMessage(const Backend::Status& failure)
{
    const QString& message = failure.message();
    if (!message.contains(QLatin1String("127.0.0.1")))
        return QStringLiteral("names no server: ") + message;
    if (message.contains(QLatin1String("Secret")))
        return QStringLiteral("tells the password: ") + message;
    if (failure.code() == Backend::ErrorCode::Unavailable && !message.contains(QLatin1String("seconds")))
        return QStringLiteral("does not say when a new try makes sense: ") + message;
    return {};
}

} // namespace KOZAV::Test
