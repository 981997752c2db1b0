#include "tests/support/SiteContent.h"

#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"

#include <QFile>
#include <QSqlRecord>
#include <QTemporaryDir>

namespace KOZAV::Test {

using namespace Backend;

namespace {

constexpr int perCompany = 7;
constexpr int everyWaiting = 3;
constexpr int everyArchive = 5;

template <typename T>
T taken(Result<T> result)
{
    if (!result.ok())
        qFatal("%s", qUtf8Printable(result.message()));
    return std::move(result.value());
}

const char* const tableNames[] = {"company", "orig_file", "job_flow", "job_compress", "pre_file"};

/// A job as fillSite() makes it.
class Job final
{
public:
    Job(const Settings& settings, Database& database, DocumentStore& store, int number)
        : m_settings(settings)
        , m_database(database)
        , m_store(store)
        , m_number(number)
        , m_company(QStringLiteral("K%1").arg((number - 1) / perCompany))
    {
    }

    void make() const
    {
        if ((m_number - 1) % perCompany == 0)
            write("INSERT INTO company (code, name, job_count, batch_number, created_time, updated_user_id,"
                  " updated_time) VALUES (?, ?, ?, ?, ?, ?, ?)",
                  {m_company, text("甲公司 "), m_number, 2, time(), 7, time()});
        makeFile(stored(), fileStore());
        makeRows();
        if (m_number % everyArchive == 0)
            makeArchive();
    }

private:
    void makeRows() const
    {
        write("INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, file_type, user_id,"
              " created_time) VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
              {key("o"), text("Job 'x' \"y\" \\ %_ 😀 "), stored(), QStringLiteral(".tgz"), m_company, 0, 7,
               time()});
        const bool waits = m_number % everyWaiting == 0;
        write("INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, state, sub_state,"
              " orig_file_guid, last_import_orig_file_guid, upload_batch_number, pre_import_note, check_note,"
              " created_time) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
              {key("f"), text("line one\nline two\ttab "), m_company + QString::number(m_number),
               QString::number(m_number), 7, waits ? 0 : 1, waits ? 0 : 2, key("o"),
               waits ? QVariant() : QVariant(key("o")), m_number, QString(3000, QChar(0x5b57)), text(" "),
               time()});
        if (m_number != 1) // one import that did not come to its end
            write("INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name,"
                  " stored_name, suffix, remark, file_store, user_id, job_number, resource, created_time)"
                  " VALUES (?, ?, ?, (SELECT MAX(id) FROM company), ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                  {key("f"), text("甲公司 "), m_company, text(""), stored(), QStringLiteral(".tgz"),
                   QString(), QString::fromStdString(fileStore()), 7, m_number, text("source "), time()});
        write("INSERT INTO pre_file (guid, flow_guid, job_name, first_text, second_text, third_text, user_id,"
              " user_name, created_time) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
              {key("p"), key("f"), text(""), QString(), text("二"), QString(), 7, QStringLiteral("operator"),
               time()});
    }

    /// An archive of the robot refers to the job's flow, which refers to an original file in its turn.
    void makeArchive() const
    {
        const QString name = QStringLiteral("robot-%1.tgz").arg(m_number);
        makeFile(name, m_settings.documentStore.fileStore.toStdString());
        write("INSERT INTO orig_file (guid, job_name, stored_name, suffix, file_type, user_id, user_name,"
              " source_path, flow_guid, created_time) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
              {key("a"), text("archive "), name, QStringLiteral(".tgz"), 1, 7, QStringLiteral("robot"),
               QStringLiteral("D:\\out\\"), key("f"), time()});
        write("UPDATE job_flow SET last_import_orig_file_guid = ? WHERE guid = ?", {key("a"), key("f")});
    }

    void makeFile(const QString& name, const std::string& fileStore) const
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("content")));
        if (!file.open(QIODevice::WriteOnly) || file.write(content(name)) < 0 || !file.flush())
            qFatal("%s", qUtf8Printable(file.errorString()));
        taken(m_store.put({m_settings.documentStore.database.toStdString(), fileStore}, name.toStdString(),
                          QFile::encodeName(file.fileName()).toStdString()));
    }

    /// Nothing, a little, and more than a store may keep in one piece.
    [[nodiscard]] QByteArray content(const QString& name) const
    {
        if (m_number == 2)
            return {};
        const int size = m_number == 3 ? 700'001 : 100 * m_number + 1;
        const QByteArray seed = name.toUtf8();
        QByteArray bytes(size, '\0');
        for (int i = 0; i < size; ++i)
            bytes[i] = static_cast<char>(seed[i % seed.size()] + i * 31 + i / 251);
        return bytes;
    }

    [[nodiscard]] QString stored() const { return QStringLiteral("料号 %1.tgz").arg(m_number); }
    [[nodiscard]] std::string fileStore() const
    {
        return m_number == 4 || m_number == 6 ? "older" : m_settings.documentStore.fileStore.toStdString();
    }
    [[nodiscard]] QString text(const char* beginning) const
    {
        return QString::fromUtf8(beginning) + QString::number(m_number);
    }
    [[nodiscard]] QString key(const char* kind) const
    {
        return QStringLiteral("%1-%2").arg(QLatin1String(kind)).arg(m_number, 8, 10, QLatin1Char('0'));
    }
    [[nodiscard]] QString time() const
    {
        return QStringLiteral("2026-03-01T08:%1:00.123Z").arg(m_number % 60, 2, 10, QLatin1Char('0'));
    }
    void write(const char* sql, const QVariantList& values) const
    {
        taken(m_database.change(sql, values, Durability::Deferred));
    }

    const Settings& m_settings;
    Database& m_database;
    DocumentStore& m_store;
    int m_number;
    QString m_company;
};

QVector<SiteContent::Row> rowsOf(Database& database, const char* table)
{
    QVector<SiteContent::Row> rows;
    const QByteArray sql = QByteArray("SELECT * FROM ") + table + " ORDER BY id";
    const Status status = database.query(sql.constData(), {}, [&rows](const QSqlQuery& query) {
        SiteContent::Row row;
        const QSqlRecord record = query.record();
        for (int i = 0; i < record.count(); ++i)
            row.insert(record.fieldName(i),
                       query.isNull(i) ? QStringLiteral("(null)") : query.value(i).toString());
        rows.append(row);
        return true;
    });
    if (!status.ok())
        qFatal("%s", qUtf8Printable(status.message()));
    return rows;
}

void readFiles(DocumentStore& store, const StoreLocation& location, SiteContent& content)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("content"));
    for (const StoredFile& file : taken(store.list(location))) {
        const Status got = store.get(location, file.name, QFile::encodeName(path).toStdString());
        if (!got.ok())
            qFatal("%s", qUtf8Printable(got.message()));
        QFile fetched(path);
        if (!fetched.open(QIODevice::ReadOnly))
            qFatal("%s", qUtf8Printable(fetched.errorString()));
        const QString key = QString::fromStdString(location.fileStore + '/' + file.name);
        content.files.insert(key, fetched.readAll());
        content.checksums.insert(key, file.sha256);
    }
}

} // namespace

void fillSite(const QString& configuration, int jobs, int first)
{
    const Settings settings = taken(loadSettings(configuration));
    const auto database = taken(Database::open(settings.database));
    const auto store = taken(openDocumentStore(settings.documentStore));
    const Status filled = database->transaction([&] {
        for (int number = first; number < first + jobs; ++number)
            Job(settings, *database, *store, number).make();
        return Status();
    });
    if (!filled.ok())
        qFatal("%s", qUtf8Printable(filled.message()));
}

int filesOf(int jobs)
{
    return jobs + jobs / everyArchive;
}

int SiteContent::rowCount() const
{
    int count = 0;
    for (const QVector<Row>& rows : tables)
        count += rows.size();
    return count;
}

SiteContent readSite(const QString& configuration)
{
    const Settings settings = taken(loadSettings(configuration));
    const auto database = taken(Database::open(settings.database));
    const auto store = taken(openDocumentStore(settings.documentStore));
    SiteContent content;
    for (const char* table : tableNames)
        content.tables.insert(QString::fromLatin1(table), rowsOf(*database, table));
    const std::string place = settings.documentStore.database.toStdString();
    readFiles(*store, {place, settings.documentStore.fileStore.toStdString()}, content);
    readFiles(*store, {place, "older"}, content);
    return content;
}

QString difference(const SiteContent& one, const SiteContent& other)
{
    for (const QString& table : one.tables.keys())
        for (int i = 0; i < std::max(one.tables[table].size(), other.tables[table].size()); ++i)
            if (one.tables[table].value(i) != other.tables[table].value(i))
                return QStringLiteral("row %1 of %2").arg(i).arg(table);
    for (const QString& name : one.files.keys() + other.files.keys())
        if (one.files.value(name) != other.files.value(name) || !other.files.contains(name))
            return QStringLiteral("file %1").arg(name);
    return one == other ? QString() : QStringLiteral("something else");
}

int changeRows(const QString& configuration, const char* sql)
{
    const Settings settings = taken(loadSettings(configuration));
    const auto database = taken(Database::open(settings.database));
    return taken(database->change(sql, {}, Durability::Immediate));
}

} // namespace KOZAV::Test
