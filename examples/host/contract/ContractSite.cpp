// Sites of the example for the contract suite. Its rows are one document, which is read here as it lies on
// the disk. Left out is what the example does not promise: its rows know nothing of the content of packed
// folders. Failures are told in words of its own, so any are right.

#include "ContractSite.h"

#include "FolderSite.h"

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

namespace KOZAV::Test {

namespace {

QJsonArray table(const char* name)
{
    return FolderSite::current().rows()[QLatin1String(name)].toArray();
}

QJsonObject rowWith(const QJsonArray& rows, const char* column, const QJsonValue& value)
{
    return rows.at(indexOf(rows, column, value)).toObject();
}

/// "name=value" of columns, which a row may not have.
QStringList fields(const QJsonObject& row, std::initializer_list<std::pair<const char*, const char*>> names)
{
    QStringList found;
    for (const auto& [name, column] : names)
        found << QLatin1String(name) + QLatin1Char('=') + row[QLatin1String(column)].toVariant().toString();
    return found;
}

} // namespace

bool ContractSite::isAvailable(QString& reason)
{
    reason.clear();
    return true;
}

bool ContractSite::gives(Promise promise)
{
    return promise == Promise::SeveralPrograms;
}

ContractSite::ContractSite()
{
    join(configuration());
    configure(QStringLiteral("user/id"), QStringLiteral("7"));
}

/// Nothing stays open between two calls.
ContractSite::~ContractSite() = default;

void ContractSite::close() {}

void ContractSite::join(const QString& configuration)
{
    if (const QString reason = FolderSite::current().useFolder(configuration); !reason.isEmpty())
        qFatal("%s", qUtf8Printable(reason));
}

QString ContractSite::configuration() const
{
    return path(QStringLiteral("site"));
}

std::string ContractSite::writeFile(const QString& name, const QByteArray& content) const
{
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush())
        qFatal("%s", qUtf8Printable(file.errorString()));
    return QFile::encodeName(file.fileName()).toStdString();
}

void ContractSite::configure(const QString& key, const QString& value) const
{
    bool isNumber = false;
    const int number = value.toInt(&isNumber);
    FolderSite::current().configure(key, isNumber ? QJsonValue(number) : QJsonValue(value));
}

void ContractSite::loseConfiguration() const
{
    if (!QFile::remove(path(QStringLiteral("site/configuration.json"))))
        qFatal("the configuration cannot be removed");
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("configuration")));
}

void ContractSite::expectFailure(const char* operation, const char* /*words*/)
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QLatin1Char('^') + QLatin1String(operation)));
}

void ContractSite::expectTakenKey(const char* operation)
{
    expectFailure(operation, "");
}

int ContractSite::addCompany(const char* code, const std::string& name)
{
    return FolderSite::current().addCompany(QString::fromUtf8(code), QString::fromStdString(name));
}

std::vector<std::string> ContractSite::storedNames()
{
    const QJsonObject configuration = FolderSite::current().configuration();
    const QString place =
        configuration[QStringLiteral("document_store/database")].toString() + QLatin1Char('/') +
        configuration[QStringLiteral("document_store/file_store")].toString() + QLatin1Char('/');
    std::vector<std::string> names;
    for (const QString& key : FolderSite::current().rows()[QStringLiteral("files")].toObject().keys())
        if (key.startsWith(place))
            names.push_back(key.mid(place.size()).toStdString());
    return names;
}

QStringList ContractSite::job(const std::string& generatedName)
{
    const QJsonObject flow = rowWith(table("flows"), "generatedName", QString::fromStdString(generatedName));
    if (flow.isEmpty())
        return {};
    const QJsonObject compressed = rowWith(table("compressed"), "flow", flow[QStringLiteral("key")]);
    const QJsonObject file = rowWith(table("origFiles"), "key", flow[QStringLiteral("origFile")]);
    const QJsonObject& known = compressed.isEmpty() ? file : compressed;
    return fields(flow, {{"jobName", "jobName"}, {"flowNo", "flowNo"}, {"user", "user"}}) +
           QStringList({QStringLiteral("state=%1").arg(flow[QStringLiteral("state")].toInt()),
                        QStringLiteral("subState=%1").arg(flow[QStringLiteral("subState")].toInt()),
                        QStringLiteral("batch=%1").arg(flow[QStringLiteral("batchNumber")].toInt()),
                        QStringLiteral("complete=%1").arg(compressed.isEmpty() ? 0 : 1)}) +
           fields(known, {{"company", "company"},
                          {"stored", "storedName"},
                          {"suffix", "suffix"},
                          {"fileStore", "fileStore"},
                          {"resource", "resource"},
                          {"customer2", "customer2"},
                          {"customer3", "customer3"}});
}

QStringList ContractSite::preFiles(const std::string& flowGuid)
{
    QStringList found;
    for (const auto& row : table("preFiles"))
        if (row.toObject()[QStringLiteral("flow")] == QString::fromStdString(flowGuid))
            found << fields(row.toObject(), {{"guid", "key"},
                                             {"jobName", "jobName"},
                                             {"first", "first"},
                                             {"second", "second"},
                                             {"third", "third"},
                                             {"user", "user"},
                                             {"userName", "userName"}});
    return found;
}

QStringList ContractSite::origFiles()
{
    const QJsonArray flows = table("flows");
    QStringList files;
    for (const auto& value : table("origFiles")) {
        const QJsonObject row = value.toObject();
        const QJsonObject flow = rowWith(flows, "key", row[QStringLiteral("flow")]);
        QStringList texts = {row[QStringLiteral("key")].toString(),
                             flow[QStringLiteral("generatedName")].toString()};
        for (const char* column : {"storedName", "suffix", "company"})
            texts << row[QLatin1String(column)].toString();
        files.prepend(texts.join(QLatin1Char(' ')));
    }
    return files;
}

QStringList ContractSite::contents()
{
    return {};
}

} // namespace KOZAV::Test
