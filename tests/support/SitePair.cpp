#include "tests/support/SitePair.h"

#include "backend/config/Settings.h"
#include "backend/store/DocumentStore.h"

#include <QFile>
#include <QTemporaryDir>

namespace KOZAV::Test {

using namespace Backend;

SitePair::SitePair()
{
    makeEmbeddedSite(source);
    makeEmbeddedSite(target);
}

void makeEmbeddedSite(const AdminSession& session)
{
    const AdminOutcome made =
        session.run({text("init"), text("--data-root"), session.file().inFolder(text("data"))});
    if (made.code != Admin::ExitCode::Success)
        qFatal("%s", qPrintable(made.err));
}

void storeFile(const QString& configuration, const char* name, const QByteArray& content)
{
    const Settings settings = loadSettings(configuration).value();
    const QTemporaryDir folder;
    QFile file(folder.filePath(text("content")));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush())
        qFatal("%s", qPrintable(file.errorString()));
    const auto store = openDocumentStore(settings.documentStore);
    const StoreLocation location{settings.documentStore.database.toStdString(),
                                 settings.documentStore.fileStore.toStdString()};
    const auto stored = store.value()->put(location, name, QFile::encodeName(file.fileName()).toStdString());
    if (!stored.ok())
        qFatal("%s", qPrintable(stored.message()));
}

} // namespace KOZAV::Test
