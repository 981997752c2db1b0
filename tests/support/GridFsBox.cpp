#include "tests/support/GridFsBox.h"

#include "tests/support/TestFiles.h"

#include <QFile>
#include <QUuid>

#include <utility>

namespace KOZAV::Test {

using namespace Backend;

namespace {

constexpr const char* passwordFile = "password";

StoreLocation freshLocation()
{
    // The server may be one that earlier runs have written to.
    const QString fresh = QStringLiteral("zav_") + QUuid::createUuid().toString(QUuid::Id128);
    return {fresh.toStdString(), "archives"};
}

} // namespace

GridFsBox::GridFsBox(const PeerOptions& options, QString uriOptions)
    : m_options(options)
    , m_uriOptions(std::move(uriOptions))
    , m_peer(options)
    , m_location(freshLocation())
{
    if (hasLogin()) {
        writeFile(beside(passwordFile), options.password.toUtf8() + '\n');
        QFile::setPermissions(m_folder.filePath(QLatin1String(passwordFile)),
                              QFile::ReadOwner | QFile::WriteOwner);
    }
    if (m_peer.problem().isEmpty())
        reopen();
}

QString GridFsBox::uri() const
{
    return m_peer.uri(m_uriOptions, m_options.user);
}

bool GridFsBox::hasLogin() const
{
    return m_peer.refusal().isEmpty() && !m_options.password.isEmpty();
}

void GridFsBox::reopen()
{
    DocumentStoreSettings settings;
    settings.kind = QStringLiteral("mongodb");
    settings.uri = uri();
    if (hasLogin())
        settings.passwordFile = m_folder.filePath(QLatin1String(passwordFile));
    m_store.reset();
    auto opened = openDocumentStore(settings);
    if (!opened.ok())
        qFatal("%s", qPrintable(opened.message()));
    m_store = std::move(opened.value());
}

std::string GridFsBox::beside(const std::string& name) const
{
    return local(m_folder.path()) + '/' + name;
}

QStringList GridFsBox::besideNames() const
{
    return namesOf(m_folder.path());
}

Result<StoredFile> GridFsBox::put(const std::string& name, const QByteArray& content)
{
    writeFile(beside("source"), content);
    return m_store->put(m_location, name, beside("source"));
}

Status GridFsBox::get(const std::string& name)
{
    return m_store->get(m_location, name, beside("fetched"));
}

QByteArray GridFsBox::contentOf(const std::string& name)
{
    QFile::remove(QFile::decodeName(QByteArray::fromStdString(beside("fetched"))));
    return get(name).ok() ? readFile(beside("fetched")) : QByteArray();
}

} // namespace KOZAV::Test
