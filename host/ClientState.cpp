#include "host/ClientState.h"

#include <QCryptographicHash>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>

namespace KOZAV::Host {

namespace {

bool kept = false;

/// An identity is a name of a file where it has the form of one; anything else, a path say, becomes one.
QString siteFile(const QString& siteId)
{
    static const QRegularExpression plain(QStringLiteral("^[0-9A-Za-z-]{1,64}$"));
    if (plain.match(siteId).hasMatch())
        return QStringLiteral("site-") + siteId;
    const QByteArray sum = QCryptographicHash::hash(siteId.toUtf8(), QCryptographicHash::Sha256).toHex();
    return QStringLiteral("place-") + QString::fromLatin1(sum.left(32));
}

} // namespace

void ClientState::keep()
{
    kept = true;
}

bool ClientState::isKept()
{
    return kept;
}

ClientState ClientState::general()
{
    return ClientState(QStringLiteral("general"));
}

ClientState ClientState::ofSite(const QString& siteId)
{
    return ClientState(siteFile(siteId));
}

ClientState::ClientState(const QString& name)
{
    if (kept)
        m_file = std::make_unique<QSettings>(
            QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                QStringLiteral("/zav_client/%1.ini").arg(name),
            QSettings::IniFormat);
}

ClientState::ClientState(ClientState&& other) noexcept = default;
ClientState& ClientState::operator=(ClientState&& other) noexcept = default;
ClientState::~ClientState() = default;

QVariant ClientState::value(const QString& key, const QVariant& otherwise) const
{
    return m_file ? m_file->value(key, otherwise) : otherwise;
}

bool ClientState::contains(const QString& key) const
{
    return m_file && m_file->contains(key);
}

void ClientState::setValue(const QString& key, const QVariant& value)
{
    if (m_file)
        m_file->setValue(key, value);
}

void ClientState::remove(const QString& key)
{
    if (m_file)
        m_file->remove(key);
}

QString ClientState::path() const
{
    return m_file ? m_file->fileName() : QString();
}

} // namespace KOZAV::Host
