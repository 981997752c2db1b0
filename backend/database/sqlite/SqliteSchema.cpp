#include "backend/database/sqlite/SqliteDialect.h"

// The tables of docs/schema.md in the words of SQLite.

namespace KOZAV::Backend {

namespace {

// SqliteDialect::applicationId.
constexpr const char* setApplicationId = "PRAGMA application_id = 0x4B4F5A41";

constexpr const char* createSchemaVersion = "CREATE TABLE schema_version ("
                                            " id INTEGER PRIMARY KEY CHECK (id = 1),"
                                            " version INTEGER NOT NULL)";

constexpr const char* insertSchemaVersion = "INSERT INTO schema_version (id, version) VALUES (1, 0)";

constexpr const char* createCompany = "CREATE TABLE company ("
                                      " id INTEGER PRIMARY KEY AUTOINCREMENT,"
                                      " code TEXT NOT NULL UNIQUE CHECK (code <> ''),"
                                      " name TEXT NOT NULL UNIQUE CHECK (name <> ''),"
                                      " job_count INTEGER NOT NULL DEFAULT 0 CHECK (job_count >= 0),"
                                      " batch_number INTEGER NOT NULL DEFAULT 0 CHECK (batch_number >= 0),"
                                      " created_time TEXT NOT NULL,"
                                      " updated_user_id INTEGER NOT NULL DEFAULT 0,"
                                      " updated_time TEXT NOT NULL)";

constexpr const char* createOrigFile = "CREATE TABLE orig_file ("
                                       " id INTEGER PRIMARY KEY AUTOINCREMENT,"
                                       " guid TEXT NOT NULL UNIQUE CHECK (guid <> ''),"
                                       " job_name TEXT NOT NULL,"
                                       " stored_name TEXT NOT NULL CHECK (stored_name <> ''),"
                                       " suffix TEXT NOT NULL,"
                                       " company_code TEXT REFERENCES company (code),"
                                       " file_type INTEGER NOT NULL DEFAULT 0,"
                                       " user_id INTEGER NOT NULL,"
                                       " user_name TEXT NOT NULL DEFAULT '',"
                                       " source_path TEXT NOT NULL DEFAULT '',"
                                       " flow_guid TEXT REFERENCES job_flow (guid),"
                                       " created_time TEXT NOT NULL)";

constexpr const char* createJobFlow = "CREATE TABLE job_flow ("
                                      " id INTEGER PRIMARY KEY AUTOINCREMENT,"
                                      " guid TEXT NOT NULL UNIQUE CHECK (guid <> ''),"
                                      " job_name TEXT NOT NULL,"
                                      " ko_serial_name TEXT NOT NULL UNIQUE CHECK (ko_serial_name <> ''),"
                                      " flow_no TEXT NOT NULL,"
                                      " user_id INTEGER NOT NULL,"
                                      " state INTEGER NOT NULL DEFAULT 0,"
                                      " sub_state INTEGER NOT NULL DEFAULT 0,"
                                      " state_user_id INTEGER NOT NULL DEFAULT 0,"
                                      " state_time TEXT NOT NULL DEFAULT '',"
                                      " orig_file_guid TEXT REFERENCES orig_file (guid),"
                                      " last_import_orig_file_guid TEXT REFERENCES orig_file (guid),"
                                      " upload_batch_number INTEGER NOT NULL DEFAULT 0"
                                      "  CHECK (upload_batch_number >= 0),"
                                      " pre_import_user_id INTEGER NOT NULL DEFAULT 0,"
                                      " pre_import_flag INTEGER NOT NULL DEFAULT 0,"
                                      " pre_import_note TEXT NOT NULL DEFAULT '',"
                                      " check_user_id INTEGER NOT NULL DEFAULT 0,"
                                      " check_user_name TEXT NOT NULL DEFAULT '',"
                                      " check_flag INTEGER NOT NULL DEFAULT 0,"
                                      " check_note TEXT NOT NULL DEFAULT '',"
                                      " pre_import_or_check_time TEXT NOT NULL DEFAULT '',"
                                      " created_time TEXT NOT NULL)";

constexpr const char* createJobCompress = "CREATE TABLE job_compress ("
                                          " id INTEGER PRIMARY KEY AUTOINCREMENT,"
                                          " flow_guid TEXT NOT NULL UNIQUE REFERENCES job_flow (guid),"
                                          " company_name TEXT NOT NULL,"
                                          " company_code TEXT NOT NULL REFERENCES company (code),"
                                          " company_id INTEGER NOT NULL REFERENCES company (id),"
                                          " job_name TEXT NOT NULL,"
                                          " stored_name TEXT NOT NULL CHECK (stored_name <> ''),"
                                          " suffix TEXT NOT NULL,"
                                          " remark TEXT NOT NULL,"
                                          " file_store TEXT NOT NULL CHECK (file_store <> ''),"
                                          " user_id INTEGER NOT NULL,"
                                          " job_number INTEGER NOT NULL CHECK (job_number >= 0),"
                                          " resource TEXT NOT NULL DEFAULT '',"
                                          " customer2 TEXT NOT NULL DEFAULT '',"
                                          " customer3 TEXT NOT NULL DEFAULT '',"
                                          " created_time TEXT NOT NULL)";

constexpr const char* createPreFile = "CREATE TABLE pre_file ("
                                      " id INTEGER PRIMARY KEY AUTOINCREMENT,"
                                      " guid TEXT NOT NULL UNIQUE CHECK (guid <> ''),"
                                      " flow_guid TEXT NOT NULL REFERENCES job_flow (guid),"
                                      " job_name TEXT NOT NULL,"
                                      " first_text TEXT NOT NULL,"
                                      " second_text TEXT NOT NULL,"
                                      " third_text TEXT NOT NULL,"
                                      " user_id INTEGER NOT NULL,"
                                      " user_name TEXT NOT NULL,"
                                      " created_time TEXT NOT NULL)";

constexpr const char* createSite = "CREATE TABLE site ("
                                   " id INTEGER PRIMARY KEY CHECK (id = 1),"
                                   " identity TEXT NOT NULL CHECK (identity <> ''),"
                                   " created_time TEXT NOT NULL,"
                                   " checked_time TEXT NOT NULL DEFAULT '')";

constexpr const char* createEvent = "CREATE TABLE event ("
                                    " id INTEGER PRIMARY KEY AUTOINCREMENT,"
                                    " guid TEXT NOT NULL UNIQUE CHECK (guid <> ''),"
                                    " kind TEXT NOT NULL CHECK (kind <> ''),"
                                    " run_guid TEXT,"
                                    " flow_guid TEXT REFERENCES job_flow (guid),"
                                    " user_id INTEGER NOT NULL,"
                                    " user_name TEXT NOT NULL,"
                                    " host TEXT NOT NULL,"
                                    " subject TEXT NOT NULL,"
                                    " outcome TEXT NOT NULL,"
                                    " reason TEXT NOT NULL,"
                                    " detail TEXT NOT NULL,"
                                    " created_time TEXT NOT NULL)";

// As much of a name as the other engine's indexes take.
constexpr const char* addJobNameStart = "ALTER TABLE job_flow ADD COLUMN job_name_start TEXT"
                                        " GENERATED ALWAYS AS (substr(job_name, 1, 128)) VIRTUAL";

// What RobotRequests.h writes: the words of a request that did not arrive as far as can be seen.
constexpr const char* addRequestFailed =
    "ALTER TABLE event ADD COLUMN request_failed INTEGER GENERATED ALWAYS AS (CASE"
    " WHEN kind <> 'robot' THEN 0 WHEN outcome IN ('not-sent', 'refused', 'no-answer') THEN 1"
    " WHEN outcome <> 'unknown' THEN 0 WHEN instr(detail, '\"origin\":\"resent\"') > 0 THEN 1"
    " WHEN instr(detail, '\"probe\":\"connected\"') > 0 OR instr(detail, '\"probe\":\"\"') > 0 THEN 0"
    " ELSE 1 END) VIRTUAL";

} // namespace

const std::vector<MigrationStep>& SqliteDialect::migrations() const
{
    static const std::vector<MigrationStep> steps = {
        {1,
         {setApplicationId, createSchemaVersion, insertSchemaVersion, createCompany, createOrigFile,
          createJobFlow, createJobCompress, createPreFile,
          // Holds all that the list of waiting jobs shows, in its order: the list is read from here alone.
          "CREATE INDEX job_flow_state ON job_flow (state, sub_state, id, guid, ko_serial_name)",
          "CREATE INDEX job_flow_upload_batch_number ON job_flow (upload_batch_number)",
          "CREATE INDEX job_flow_orig_file_guid ON job_flow (orig_file_guid)",
          "CREATE INDEX orig_file_company_code ON orig_file (company_code)",
          "CREATE INDEX job_compress_company_code ON job_compress (company_code)",
          "CREATE INDEX pre_file_flow_guid ON pre_file (flow_guid)"}},
        {2,
         {createSite, createEvent, "CREATE INDEX event_flow_guid ON event (flow_guid)",
          "CREATE INDEX event_run_guid ON event (run_guid)", "CREATE INDEX event_kind ON event (kind, id)",
          "ALTER TABLE orig_file ADD COLUMN stored_length INTEGER",
          "ALTER TABLE orig_file ADD COLUMN stored_sha256 TEXT",
          "ALTER TABLE orig_file ADD COLUMN content_length INTEGER",
          "ALTER TABLE orig_file ADD COLUMN content_sha256 TEXT",
          "CREATE INDEX orig_file_stored_name ON orig_file (stored_name)",
          "CREATE INDEX orig_file_stored_content ON orig_file (stored_length, stored_sha256)",
          "CREATE INDEX orig_file_content ON orig_file (content_length, content_sha256)"}},
        // Who holds a company is kept by locks of the operating system here, in no table.
        {3,
         {"CREATE INDEX job_compress_stored_name ON job_compress (stored_name)",
          "CREATE INDEX job_flow_last_import ON job_flow (last_import_orig_file_guid)"}},
        {4,
         {addJobNameStart, "CREATE INDEX job_flow_job_name ON job_flow (job_name_start, id)",
          "CREATE INDEX job_flow_created_time ON job_flow (created_time, id)", addRequestFailed,
          "CREATE INDEX event_request_failed ON event (request_failed, id)"}},
    };
    return steps;
}

} // namespace KOZAV::Backend
