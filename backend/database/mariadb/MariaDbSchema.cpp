#include "backend/database/mariadb/MariaDbDialect.h"

// The tables of docs/schema.md in the words of MariaDB. The engine commits each statement that makes a table
// by itself, so every step can be run again where it was interrupted. The indexes are made with their tables,
// named as those of the other engine.

namespace KOZAV::Backend {

namespace {

// Texts compare by their code points, trailing blanks included, as they do in SQLite. MariaDB and MySQL name
// that collation differently; each reads its own comment.
#define TABLE_OPTIONS                                                                                        \
    " ENGINE = InnoDB DEFAULT CHARACTER SET utf8mb4"                                                         \
    " /*M!100200 COLLATE utf8mb4_nopad_bin */ /*!80017 COLLATE utf8mb4_0900_bin */"

// The widest that an index takes beside others: a name of 255 characters, four bytes each.
#define KEY_TEXT "VARCHAR(255)"
// Beyond what a statement carries with a server's usual settings.
#define LONG_TEXT "MEDIUMTEXT"
#define TIME_TEXT "VARCHAR(32)"

// The first of all, with a comment that marks the database as one of this system's.
constexpr const char* createSchemaVersion =
    "CREATE TABLE IF NOT EXISTS schema_version ("
    " id INTEGER PRIMARY KEY CHECK (id = 1),"
    " version INTEGER NOT NULL)" TABLE_OPTIONS " COMMENT = 'job import: version of the tables'";

constexpr const char* insertSchemaVersion = "INSERT IGNORE INTO schema_version (id, version) VALUES (1, 0)";

constexpr const char* createCompany = "CREATE TABLE IF NOT EXISTS company ("
                                      " id INTEGER PRIMARY KEY AUTO_INCREMENT,"
                                      " code " KEY_TEXT " NOT NULL UNIQUE CHECK (code <> ''),"
                                      " name " KEY_TEXT " NOT NULL UNIQUE CHECK (name <> ''),"
                                      " job_count INTEGER NOT NULL DEFAULT 0 CHECK (job_count >= 0),"
                                      " batch_number INTEGER NOT NULL DEFAULT 0 CHECK (batch_number >= 0),"
                                      " created_time " TIME_TEXT " NOT NULL,"
                                      " updated_user_id INTEGER NOT NULL DEFAULT 0,"
                                      " updated_time " TIME_TEXT " NOT NULL)" TABLE_OPTIONS;

constexpr const char* createOrigFile = "CREATE TABLE IF NOT EXISTS orig_file ("
                                       " id INTEGER PRIMARY KEY AUTO_INCREMENT,"
                                       " guid " KEY_TEXT " NOT NULL UNIQUE CHECK (guid <> ''),"
                                       " job_name " LONG_TEXT " NOT NULL,"
                                       " stored_name " KEY_TEXT " NOT NULL CHECK (stored_name <> ''),"
                                       " suffix " LONG_TEXT " NOT NULL,"
                                       " company_code " KEY_TEXT ","
                                       " file_type INTEGER NOT NULL DEFAULT 0,"
                                       " user_id INTEGER NOT NULL,"
                                       " user_name " LONG_TEXT " NOT NULL DEFAULT (''),"
                                       " source_path " LONG_TEXT " NOT NULL DEFAULT (''),"
                                       " flow_guid " KEY_TEXT ","
                                       " created_time " TIME_TEXT " NOT NULL,"
                                       " INDEX orig_file_company_code (company_code),"
                                       " INDEX orig_file_flow_guid (flow_guid),"
                                       " CONSTRAINT orig_file_company FOREIGN KEY (company_code)"
                                       "  REFERENCES company (code),"
                                       " CONSTRAINT orig_file_flow FOREIGN KEY (flow_guid)"
                                       "  REFERENCES job_flow (guid))" TABLE_OPTIONS;

constexpr const char* createJobFlow =
    "CREATE TABLE IF NOT EXISTS job_flow ("
    " id INTEGER PRIMARY KEY AUTO_INCREMENT,"
    " guid " KEY_TEXT " NOT NULL UNIQUE CHECK (guid <> ''),"
    " job_name " LONG_TEXT " NOT NULL,"
    " ko_serial_name " KEY_TEXT " NOT NULL UNIQUE CHECK (ko_serial_name <> ''),"
    " flow_no " LONG_TEXT " NOT NULL,"
    " user_id INTEGER NOT NULL,"
    " state INTEGER NOT NULL DEFAULT 0,"
    " sub_state INTEGER NOT NULL DEFAULT 0,"
    " state_user_id INTEGER NOT NULL DEFAULT 0,"
    " state_time " TIME_TEXT " NOT NULL DEFAULT '',"
    " orig_file_guid " KEY_TEXT ","
    " last_import_orig_file_guid " KEY_TEXT ","
    " upload_batch_number INTEGER NOT NULL DEFAULT 0 CHECK (upload_batch_number >= 0),"
    " pre_import_user_id INTEGER NOT NULL DEFAULT 0,"
    " pre_import_flag INTEGER NOT NULL DEFAULT 0,"
    " pre_import_note " LONG_TEXT " NOT NULL DEFAULT (''),"
    " check_user_id INTEGER NOT NULL DEFAULT 0,"
    " check_user_name " LONG_TEXT " NOT NULL DEFAULT (''),"
    " check_flag INTEGER NOT NULL DEFAULT 0,"
    " check_note " LONG_TEXT " NOT NULL DEFAULT (''),"
    " pre_import_or_check_time " TIME_TEXT " NOT NULL DEFAULT '',"
    " created_time " TIME_TEXT " NOT NULL,"
    // Holds all that the list of waiting jobs shows, in its order: the list is read from here alone.
    " INDEX job_flow_state (state, sub_state, id, guid, ko_serial_name),"
    " INDEX job_flow_upload_batch_number (upload_batch_number),"
    " INDEX job_flow_orig_file_guid (orig_file_guid),"
    " INDEX job_flow_last_import (last_import_orig_file_guid),"
    " CONSTRAINT job_flow_orig_file FOREIGN KEY (orig_file_guid) REFERENCES orig_file (guid),"
    " CONSTRAINT job_flow_last_import FOREIGN KEY (last_import_orig_file_guid)"
    "  REFERENCES orig_file (guid))" TABLE_OPTIONS;

constexpr const char* createJobCompress =
    "CREATE TABLE IF NOT EXISTS job_compress ("
    " id INTEGER PRIMARY KEY AUTO_INCREMENT,"
    " flow_guid " KEY_TEXT " NOT NULL UNIQUE,"
    " company_name " LONG_TEXT " NOT NULL,"
    " company_code " KEY_TEXT " NOT NULL,"
    " company_id INTEGER NOT NULL,"
    " job_name " LONG_TEXT " NOT NULL,"
    " stored_name " KEY_TEXT " NOT NULL CHECK (stored_name <> ''),"
    " suffix " LONG_TEXT " NOT NULL,"
    " remark " LONG_TEXT " NOT NULL,"
    " file_store " LONG_TEXT " NOT NULL CHECK (file_store <> ''),"
    " user_id INTEGER NOT NULL,"
    " job_number INTEGER NOT NULL CHECK (job_number >= 0),"
    " resource " LONG_TEXT " NOT NULL DEFAULT (''),"
    " customer2 " LONG_TEXT " NOT NULL DEFAULT (''),"
    " customer3 " LONG_TEXT " NOT NULL DEFAULT (''),"
    " created_time " TIME_TEXT " NOT NULL,"
    " INDEX job_compress_company_code (company_code),"
    " INDEX job_compress_company_id (company_id),"
    " CONSTRAINT job_compress_flow FOREIGN KEY (flow_guid) REFERENCES job_flow (guid),"
    " CONSTRAINT job_compress_company FOREIGN KEY (company_code) REFERENCES company (code),"
    " CONSTRAINT job_compress_company_number FOREIGN KEY (company_id) REFERENCES company (id))" TABLE_OPTIONS;

constexpr const char* createPreFile = "CREATE TABLE IF NOT EXISTS pre_file ("
                                      " id INTEGER PRIMARY KEY AUTO_INCREMENT,"
                                      " guid " KEY_TEXT " NOT NULL UNIQUE CHECK (guid <> ''),"
                                      " flow_guid " KEY_TEXT " NOT NULL,"
                                      " job_name " LONG_TEXT " NOT NULL,"
                                      " first_text " LONG_TEXT " NOT NULL,"
                                      " second_text " LONG_TEXT " NOT NULL,"
                                      " third_text " LONG_TEXT " NOT NULL,"
                                      " user_id INTEGER NOT NULL,"
                                      " user_name " LONG_TEXT " NOT NULL,"
                                      " created_time " TIME_TEXT " NOT NULL,"
                                      " INDEX pre_file_flow_guid (flow_guid),"
                                      " CONSTRAINT pre_file_flow FOREIGN KEY (flow_guid)"
                                      "  REFERENCES job_flow (guid))" TABLE_OPTIONS;

constexpr const char* createSite = "CREATE TABLE IF NOT EXISTS site ("
                                   " id INTEGER PRIMARY KEY CHECK (id = 1),"
                                   " identity " KEY_TEXT " NOT NULL CHECK (identity <> ''),"
                                   " created_time " TIME_TEXT " NOT NULL,"
                                   " checked_time " TIME_TEXT " NOT NULL DEFAULT '')" TABLE_OPTIONS;

constexpr const char* createEvent = "CREATE TABLE IF NOT EXISTS event ("
                                    " id INTEGER PRIMARY KEY AUTO_INCREMENT,"
                                    " guid " KEY_TEXT " NOT NULL UNIQUE CHECK (guid <> ''),"
                                    " kind " KEY_TEXT " NOT NULL CHECK (kind <> ''),"
                                    " run_guid " KEY_TEXT ","
                                    " flow_guid " KEY_TEXT ","
                                    " user_id INTEGER NOT NULL,"
                                    " user_name " LONG_TEXT " NOT NULL,"
                                    " host " LONG_TEXT " NOT NULL,"
                                    " subject " LONG_TEXT " NOT NULL,"
                                    " outcome " LONG_TEXT " NOT NULL,"
                                    " reason " LONG_TEXT " NOT NULL,"
                                    " detail " LONG_TEXT " NOT NULL,"
                                    " created_time " TIME_TEXT " NOT NULL,"
                                    " INDEX event_flow_guid (flow_guid),"
                                    " INDEX event_run_guid (run_guid),"
                                    " INDEX event_kind (kind, id),"
                                    " CONSTRAINT event_flow FOREIGN KEY (flow_guid)"
                                    "  REFERENCES job_flow (guid))" TABLE_OPTIONS;

// One statement, so that the columns are there with their indexes or not at all. MySQL has no words for a
// column that may be there already: the text is made empty then.
constexpr const char* chooseContentColumns =
    "SET @add_content = (SELECT IF(COUNT(*) = 0, 'ALTER TABLE orig_file"
    " ADD COLUMN stored_length BIGINT, ADD COLUMN stored_sha256 VARCHAR(64),"
    " ADD COLUMN content_length BIGINT, ADD COLUMN content_sha256 VARCHAR(64),"
    " ADD INDEX orig_file_stored_name (stored_name),"
    " ADD INDEX orig_file_stored_content (stored_length, stored_sha256),"
    " ADD INDEX orig_file_content (content_length, content_sha256)', 'DO 0')"
    " FROM information_schema.columns WHERE table_schema = DATABASE()"
    " AND table_name = 'orig_file' AND column_name = 'stored_length')";

// Without a reference to the company: its check would lock the row whose job count others raise. Both times
// are the server's, so that programs with different clocks agree on them.
constexpr const char* createCompanyHold = "CREATE TABLE IF NOT EXISTS company_hold ("
                                          " company_id INTEGER PRIMARY KEY,"
                                          " holder " KEY_TEXT " NOT NULL CHECK (holder <> ''),"
                                          " user_name " LONG_TEXT " NOT NULL,"
                                          " host " LONG_TEXT " NOT NULL,"
                                          " process_id BIGINT NOT NULL,"
                                          " since DATETIME(3) NOT NULL,"
                                          " expires DATETIME(3) NOT NULL)" TABLE_OPTIONS;

constexpr const char* chooseStoredNameIndex =
    "SET @add_index = (SELECT IF(COUNT(*) = 0,"
    " 'ALTER TABLE job_compress ADD INDEX job_compress_stored_name (stored_name)', 'DO 0')"
    " FROM information_schema.statistics WHERE table_schema = DATABASE()"
    " AND table_name = 'job_compress' AND index_name = 'job_compress_stored_name')";

// One statement a table, with the column and all that is new of it. A whole name is wider than an index
// takes.
constexpr const char* chooseJobFlowIndexes =
    "SET @add_index = (SELECT IF(COUNT(*) = 0, 'ALTER TABLE job_flow"
    " ADD COLUMN job_name_start VARCHAR(128) AS (LEFT(job_name, 128)) VIRTUAL,"
    " ADD INDEX job_flow_job_name (job_name_start, id),"
    " ADD INDEX job_flow_created_time (created_time, id)', 'DO 0')"
    " FROM information_schema.columns WHERE table_schema = DATABASE()"
    " AND table_name = 'job_flow' AND column_name = 'job_name_start')";

// What RobotRequests.h writes: the words of a request that did not arrive as far as can be seen.
constexpr const char* chooseRequestFailed =
    "SET @add_index = (SELECT IF(COUNT(*) = 0, 'ALTER TABLE event ADD COLUMN request_failed INTEGER AS (CASE"
    " WHEN kind <> ''robot'' THEN 0 WHEN outcome IN (''not-sent'', ''refused'', ''no-answer'') THEN 1"
    " WHEN outcome <> ''unknown'' THEN 0 WHEN INSTR(detail, ''\"origin\":\"resent\"'') > 0 THEN 1"
    " WHEN INSTR(detail, ''\"probe\":\"connected\"'') > 0 OR INSTR(detail, ''\"probe\":\"\"'') > 0 THEN 0"
    " ELSE 1 END) VIRTUAL, ADD INDEX event_request_failed (request_failed, id)', 'DO 0')"
    " FROM information_schema.columns WHERE table_schema = DATABASE()"
    " AND table_name = 'event' AND column_name = 'request_failed')";

#undef TABLE_OPTIONS
#undef KEY_TEXT
#undef LONG_TEXT
#undef TIME_TEXT

#define DANGLING(table, column, target, key)                                                                 \
    "SELECT COUNT(*) FROM " table " WHERE " column " IS NOT NULL AND NOT EXISTS (SELECT 1 FROM " target      \
    " AS referred WHERE referred." key " = " table "." column ")"

/// A table as the last step leaves it: its conditions by number, its columns, indexes and references by name.
/// The server tells them in these words when it is asked as MariaDbExamination.cpp does.
struct TableLayout
{
    const char* table;
    int conditions; ///< how many CHECKs it has
    const char* columns;
    const char* indexes;
    const char* references;
};

constexpr TableLayout layouts[] = {
    {"schema_version", 1, "id int, version int", "PRIMARY UNIQUE id", ""},
    {"company", 4,
     "id int AUTO, code varchar(255), name varchar(255), job_count int DEFAULT, batch_number int DEFAULT,"
     " created_time varchar(32), updated_user_id int DEFAULT, updated_time varchar(32)",
     "PRIMARY UNIQUE id, code UNIQUE code, name UNIQUE name", ""},
    {"orig_file", 2,
     "id int AUTO, guid varchar(255), job_name mediumtext, stored_name varchar(255), suffix mediumtext,"
     " company_code varchar(255) NULL, file_type int DEFAULT, user_id int, user_name mediumtext DEFAULT,"
     " source_path mediumtext DEFAULT, flow_guid varchar(255) NULL, created_time varchar(32),"
     " stored_length bigint NULL, stored_sha256 varchar(64) NULL, content_length bigint NULL,"
     " content_sha256 varchar(64) NULL",
     "PRIMARY UNIQUE id, guid UNIQUE guid, orig_file_company_code company_code, orig_file_flow_guid "
     "flow_guid,"
     " orig_file_stored_name stored_name, orig_file_stored_content stored_length+stored_sha256,"
     " orig_file_content content_length+content_sha256",
     "orig_file_company company_code>company.code, orig_file_flow flow_guid>job_flow.guid"},
    {"job_flow", 3,
     "id int AUTO, guid varchar(255), job_name mediumtext, ko_serial_name varchar(255), flow_no mediumtext,"
     " user_id int, state int DEFAULT, sub_state int DEFAULT, state_user_id int DEFAULT,"
     " state_time varchar(32) DEFAULT, orig_file_guid varchar(255) NULL,"
     " last_import_orig_file_guid varchar(255) NULL, upload_batch_number int DEFAULT,"
     " pre_import_user_id int DEFAULT, pre_import_flag int DEFAULT, pre_import_note mediumtext DEFAULT,"
     " check_user_id int DEFAULT, check_user_name mediumtext DEFAULT, check_flag int DEFAULT,"
     " check_note mediumtext DEFAULT, pre_import_or_check_time varchar(32) DEFAULT, created_time varchar(32),"
     " job_name_start varchar(128) NULL",
     "PRIMARY UNIQUE id, guid UNIQUE guid, ko_serial_name UNIQUE ko_serial_name,"
     " job_flow_state state+sub_state+id+guid+ko_serial_name, job_flow_upload_batch_number "
     "upload_batch_number,"
     " job_flow_orig_file_guid orig_file_guid, job_flow_last_import last_import_orig_file_guid,"
     " job_flow_job_name job_name_start+id, job_flow_created_time created_time+id",
     "job_flow_orig_file orig_file_guid>orig_file.guid,"
     " job_flow_last_import last_import_orig_file_guid>orig_file.guid"},
    {"job_compress", 3,
     "id int AUTO, flow_guid varchar(255), company_name mediumtext, company_code varchar(255), company_id "
     "int,"
     " job_name mediumtext, stored_name varchar(255), suffix mediumtext, remark mediumtext, file_store "
     "mediumtext,"
     " user_id int, job_number int, resource mediumtext DEFAULT, customer2 mediumtext DEFAULT,"
     " customer3 mediumtext DEFAULT, created_time varchar(32)",
     "PRIMARY UNIQUE id, flow_guid UNIQUE flow_guid, job_compress_company_code company_code,"
     " job_compress_company_id company_id, job_compress_stored_name stored_name",
     "job_compress_flow flow_guid>job_flow.guid, job_compress_company company_code>company.code,"
     " job_compress_company_number company_id>company.id"},
    {"pre_file", 1,
     "id int AUTO, guid varchar(255), flow_guid varchar(255), job_name mediumtext, first_text mediumtext,"
     " second_text mediumtext, third_text mediumtext, user_id int, user_name mediumtext, created_time "
     "varchar(32)",
     "PRIMARY UNIQUE id, guid UNIQUE guid, pre_file_flow_guid flow_guid",
     "pre_file_flow flow_guid>job_flow.guid"},
    {"site", 2, "id int, identity varchar(255), created_time varchar(32), checked_time varchar(32) DEFAULT",
     "PRIMARY UNIQUE id", ""},
    {"event", 2,
     "id int AUTO, guid varchar(255), kind varchar(255), run_guid varchar(255) NULL, flow_guid varchar(255) "
     "NULL,"
     " user_id int, user_name mediumtext, host mediumtext, subject mediumtext, outcome mediumtext,"
     " reason mediumtext, detail mediumtext, created_time varchar(32), request_failed int NULL",
     "PRIMARY UNIQUE id, guid UNIQUE guid, event_flow_guid flow_guid, event_run_guid run_guid, event_kind "
     "kind+id, event_request_failed request_failed+id",
     "event_flow flow_guid>job_flow.guid"},
    {"company_hold", 1,
     "company_id int, holder varchar(255), user_name mediumtext, host mediumtext, process_id bigint,"
     " since datetime, expires datetime",
     "PRIMARY UNIQUE company_id", ""},
};

} // namespace

const std::vector<MigrationStep>& MariaDbDialect::migrations() const
{
    static const std::vector<MigrationStep> steps = {
        // orig_file and job_flow refer to each other: the first of them is made before the other is there.
        {1,
         {createSchemaVersion, insertSchemaVersion, "SET SESSION foreign_key_checks = 0", createCompany,
          createOrigFile, createJobFlow, createJobCompress, createPreFile,
          "SET SESSION foreign_key_checks = 1"}},
        {2,
         {createSite, createEvent, chooseContentColumns, "PREPARE add_content FROM @add_content",
          "EXECUTE add_content", "DEALLOCATE PREPARE add_content"}},
        {3,
         {createCompanyHold, chooseStoredNameIndex, "PREPARE add_index FROM @add_index", "EXECUTE add_index",
          "DEALLOCATE PREPARE add_index"}},
        {4,
         {chooseJobFlowIndexes, "PREPARE add_index FROM @add_index", "EXECUTE add_index",
          "DEALLOCATE PREPARE add_index", chooseRequestFailed, "PREPARE add_index FROM @add_index",
          "EXECUTE add_index", "DEALLOCATE PREPARE add_index"}},
    };
    return steps;
}

const std::vector<MariaDbDialect::Reference>& MariaDbDialect::references()
{
    static const std::vector<Reference> references = {
        {"orig_file", DANGLING("orig_file", "company_code", "company", "code")},
        {"orig_file", DANGLING("orig_file", "flow_guid", "job_flow", "guid")},
        {"job_flow", DANGLING("job_flow", "orig_file_guid", "orig_file", "guid")},
        {"job_flow", DANGLING("job_flow", "last_import_orig_file_guid", "orig_file", "guid")},
        {"job_compress", DANGLING("job_compress", "flow_guid", "job_flow", "guid")},
        {"job_compress", DANGLING("job_compress", "company_code", "company", "code")},
        {"job_compress", DANGLING("job_compress", "company_id", "company", "id")},
        {"pre_file", DANGLING("pre_file", "flow_guid", "job_flow", "guid")},
        {"event", DANGLING("event", "flow_guid", "job_flow", "guid")},
    };
    return references;
}

#undef DANGLING

const SchemaObjects& MariaDbDialect::ownObjects()
{
    static const SchemaObjects objects = [] {
        SchemaObjects all;
        const auto add = [&all](const TableLayout& layout, const char* kind, const char* parts) {
            const QString place =
                QStringLiteral("%1 %2.").arg(QLatin1String(kind), QLatin1String(layout.table));
            for (const QString& part :
                 QString::fromLatin1(parts).split(QStringLiteral(", "), Qt::SkipEmptyParts))
                all[place + part.section(QLatin1Char(' '), 0, 0)] = part.section(QLatin1Char(' '), 1);
        };
        for (const TableLayout& layout : layouts) {
            all[QStringLiteral("table %1").arg(QLatin1String(layout.table))] = QStringLiteral("InnoDB");
            all[QStringLiteral("conditions of ") + QLatin1String(layout.table)] =
                QString::number(layout.conditions);
            add(layout, "column", layout.columns);
            add(layout, "index", layout.indexes);
            add(layout, "reference", layout.references);
        }
        return all;
    }();
    return objects;
}

} // namespace KOZAV::Backend
