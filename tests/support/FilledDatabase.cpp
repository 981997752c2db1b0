#include "tests/support/FilledDatabase.h"

#include <QDateTime>
#include <QUuid>

#include <random>
#include <vector>

namespace KOZAV::Test {

using namespace Backend;

namespace {

/// Keys that are the same in every run.
class Keys final
{
public:
    QString next()
    {
        return QUuid(static_cast<uint>(m_numbers()), static_cast<ushort>(m_numbers()),
                     static_cast<ushort>(m_numbers()), 0x80, 1, 2, 3, 4, 5, 6, 7)
            .toString(QUuid::WithoutBraces);
    }

private:
    std::mt19937 m_numbers{1};
};

/// The rows of one import, as the panel has them written.
Status addJob(Database& database, Keys& keys, int number)
{
    const QString file = keys.next();
    const QString flow = keys.next();
    const QString name = QStringLiteral("board_%1_rev_b").arg(number);
    const QString stored = keys.next() + QStringLiteral(".tgz");
    const QString time = QStringLiteral("2026-01-31T08:15:00.123Z");
    struct Write
    {
        const char* sql;
        QVariantList values;
    };
    const std::vector<Write> writes = {
        {"INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, created_time,"
         " stored_length, stored_sha256) VALUES (?, ?, ?, 'tgz', 'HX', 1, ?, ?, ?)",
         {file, name, stored, time, number, QString(64, QLatin1Char('5'))}},
        {"INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, orig_file_guid, "
         "created_time)"
         " VALUES (?, ?, ?, '20260131081500123', 1, ?, ?)",
         {flow, name, QStringLiteral("HX%1").arg(number, 6, 10, QLatin1Char('0')), file, time}},
        {"INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name, "
         "stored_name, suffix,"
         " remark, file_store, user_id, job_number, created_time)"
         " VALUES (?, 'Harbour Circuits', 'HX', 1, ?, ?, 'tgz', '', 'odbpp', 1, ?, ?)",
         {flow, name, stored, number, time}}};
    for (const Write& write : writes)
        if (const auto row = database.insert(write.sql, write.values, Durability::Deferred); !row.ok())
            return row.status();
    return {};
}

constexpr const char* variedCodes[] = {"HX", "HX1", "AC", "B", "C", "D", "Z"};
constexpr int variedStates[][2] = {{0, 0}, {0, 0}, {1, 2},   {0, 0}, {-1, -1},
                                   {1, 2}, {0, 0}, {-2, -2}, {3, 1}};

Status addVariedJob(Database& database, Keys& keys, int number)
{
    const QString code = QLatin1String(variedCodes[(number * 3 + number / 7) % 7]);
    const QString file = keys.next();
    const QString flow = keys.next();
    const QString name = QStringLiteral("board_%1").arg(number * 7919 % 101);
    const QString time = QDateTime(QDate(2026, 1, 1), QTime(8, 0), Qt::UTC)
                             .addSecs(60 * (number - (number % 5 == 0 ? 12 : 0)))
                             .toString(QStringLiteral("yyyy-MM-ddThh:mm:ss.zzzZ"));
    const auto& state = variedStates[number % 9];
    const int batch = number % 3 == 0 ? 0 : 1 + number / 40;
    auto done = database.insert("INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code,"
                                " user_id, created_time, stored_length) VALUES (?, ?, ?, 'tgz', ?, 1, ?, ?)",
                                {file, name, file + QStringLiteral(".tgz"), code, time,
                                 number % 4 == 0 ? QVariant() : QVariant(number)},
                                Durability::Deferred);
    if (done.ok())
        done = database.insert(
            "INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, state, sub_state,"
            " upload_batch_number, orig_file_guid, created_time) VALUES (?, ?, ?, '', 1, ?, ?, ?, ?, ?)",
            {flow, name, code + QStringLiteral("%1").arg(number, 6, 10, QLatin1Char('0')), state[0], state[1],
             batch, file, time},
            Durability::Deferred);
    if (done.ok() && number % 11 != 0)
        done = database.insert(
            "INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name,"
            " stored_name, suffix, remark, file_store, user_id, job_number, created_time)"
            " SELECT ?, name, code, id, ?, ?, 'tgz', '', 'odbpp', 1, ?, ? FROM company WHERE code = ?",
            {flow, name, file + QStringLiteral(".tgz"), number, time, code}, Durability::Deferred);
    return done.status();
}

} // namespace

Status addVariedJobs(Database& database, int count)
{
    Keys keys;
    return database.transaction([&]() -> Status {
        for (const char* code : variedCodes) {
            const QString text = QLatin1String(code);
            const auto company = database.insert(
                "INSERT INTO company (code, name, created_time, updated_time) VALUES (?, ?, '', '')",
                {text, QStringLiteral("Company ") + text}, Durability::Deferred);
            if (!company.ok())
                return company.status();
        }
        for (int i = 1; i <= count; ++i)
            if (auto added = addVariedJob(database, keys, i); !added.ok())
                return added;
        return {};
    });
}

Status addJobs(Database& database, int count)
{
    Keys keys;
    return database.transaction([&] {
        auto status = database
                          .insert("INSERT INTO company (code, name, created_time, updated_time)"
                                  " VALUES ('HX', 'Harbour Circuits', '', '')",
                                  {}, Durability::Deferred)
                          .status();
        for (int i = 1; i <= count && status.ok(); ++i)
            status = addJob(database, keys, i);
        return status;
    });
}

} // namespace KOZAV::Test
