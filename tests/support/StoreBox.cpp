#include "tests/support/StoreBox.h"

#include "tests/support/TestFiles.h"

#include <QFile>

#include <sys/xattr.h>

#include <cerrno>

namespace KOZAV::Test {

using namespace Backend;

namespace {

DocumentStoreSettings localSettings(const QString& root)
{
    DocumentStoreSettings settings;
    settings.root = root;
    return settings;
}

std::string locationPath(const std::string& root)
{
    return root + '/' + testLocation().database + '/' + testLocation().fileStore;
}

} // namespace

void detachSum(const std::string& path)
{
    if (::removexattr(path.c_str(), sumAttribute) != 0 && errno != ENODATA && errno != EOPNOTSUPP)
        qFatal("the sum of %s cannot be taken away", path.c_str());
}

const StoreLocation& testLocation()
{
    static const StoreLocation location{"jobs", "archives"};
    return location;
}

std::unique_ptr<DocumentStore> openLocalStore(const std::string& root)
{
    auto opened = openDocumentStore(localSettings(QFile::decodeName(QByteArray::fromStdString(root))));
    if (!opened.ok())
        qFatal("%s", qPrintable(opened.message()));
    return std::move(opened.value());
}

void markRoot(const std::string& root)
{
    const auto marked = openLocalStore(root)->setSiteMark({"marked", "site"}, QStringLiteral("test-site"));
    if (!marked.ok())
        qFatal("%s", qPrintable(marked.message()));
}

StoreBox::StoreBox()
{
    makeFolder(root());
    makeFolder(beside("x").substr(0, beside("x").size() - 2));
    markRoot(root());
    reopen();
}

void StoreBox::reopen()
{
    m_store = openLocalStore(root());
}

std::string StoreBox::root() const
{
    return local(m_folder.filePath(QStringLiteral("store")));
}

std::string StoreBox::beside(const std::string& name) const
{
    return local(m_folder.filePath(QStringLiteral("beside"))) + '/' + name;
}

std::string StoreBox::data(const std::string& name) const
{
    return locationPath(root()) + "/files/" + name;
}

std::string StoreBox::sum(const std::string& name) const
{
    return locationPath(root()) + "/sums/" + name;
}

std::string StoreBox::temps() const
{
    return locationPath(root()) + "/tmp";
}

bool StoreBox::setAttached(const std::string& name, const QByteArray& text) const
{
    detachSum(data(name));
    return text.isEmpty() || ::setxattr(data(name).c_str(), sumAttribute, text.constData(),
                                        static_cast<size_t>(text.size()), 0) == 0;
}

Result<StoredFile> StoreBox::put(const std::string& name, const QByteArray& content)
{
    writeFile(beside("source"), content);
    return m_store->put(testLocation(), name, beside("source"));
}

QByteArray StoreBox::get(const std::string& name)
{
    const std::string target = beside("fetched");
    QFile::remove(QString::fromStdString(target));
    return m_store->get(testLocation(), name, target).ok() ? readFile(target) : QByteArray();
}

int runStoreRole(const QStringList& arguments)
{
    const QString& verb = arguments.at(2);
    const std::string name = local(arguments.at(4));
    const std::string path = local(arguments.value(5));
    const auto opened = openDocumentStore(localSettings(arguments.at(3)));
    if (!opened.ok())
        return reportRole(opened.status());
    DocumentStore& store = *opened.value();
    if (verb == QLatin1String("put"))
        return reportRole(store.put(testLocation(), name, path).status());
    if (verb == QLatin1String("adopt"))
        return reportRole(store.adopt(testLocation(), name, path).status());
    if (verb == QLatin1String("quarantine"))
        return reportRole(store.quarantine(testLocation(), name));
    if (verb == QLatin1String("restore"))
        return reportRole(store.restoreQuarantined(testLocation(), name));
    if (verb == QLatin1String("remove"))
        return reportRole(store.remove(testLocation(), name));
    if (verb == QLatin1String("purge"))
        return reportRole(store.purgeQuarantined(testLocation(), name));
    if (verb == QLatin1String("mark"))
        return reportRole(store.setSiteMark(testLocation(), arguments.at(4)));
    return reportRole(store.get(testLocation(), name, path));
}

} // namespace KOZAV::Test
