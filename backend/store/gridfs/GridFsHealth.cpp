#include "backend/store/gridfs/GridFsHealth.h"

#include "backend/store/gridfs/AnswerWatch.h"
#include "backend/store/gridfs/Bson.h"
#include "backend/store/gridfs/BsonView.h"
#include "backend/store/gridfs/MongoFailure.h"

#include <cstring>

namespace KOZAV::Backend {

namespace {

constexpr const char* commandDatabase = "admin";

Status failure(const GridFsServer& server, const bson_error_t& error)
{
    return mongoFailure(QStringLiteral("look at the document store"), server.hosts, error);
}

Status ask(mongoc_client_t* client, const GridFsServer& server, const char* what, Bson& reply)
{
    Bson command;
    bson_error_t error = {};
    command.int32(what, 1);
    const bool answered = mongoc_client_command_simple(client, commandDatabase, command.get(), nullptr,
                                                       reply.forReply(), &error);
    return answered ? Status() : failure(server, error);
}

Result<QString> versionText(mongoc_client_t* client, const GridFsServer& server)
{
    Bson build;
    if (Status told = ask(client, server, "buildInfo", build); !told.ok())
        return told;
    return QString::fromStdString(BsonView(build.get()).text("version").value_or("?"));
}

QString topologyText(const mongoc_server_description_t* description)
{
    const char* type = mongoc_server_description_type(description);
    const auto set = BsonView(mongoc_server_description_hello_response(description)).text("setName");
    if (set)
        return QStringLiteral("replica set %1").arg(QString::fromStdString(*set));
    if (std::strcmp(type, "Mongos") == 0)
        return QStringLiteral("sharded cluster");
    return {};
}

} // namespace

Result<ServiceHealth> gridFsHealth(mongoc_client_t* client, const GridFsServer& server)
{
    bson_error_t error = {};
    const MongoServerDescription description(mongoc_client_select_server(client, true, nullptr, &error));
    if (!description)
        return failure(server, error);
    const AnswerWatch watch;
    Result<QString> version = versionText(client, server);
    if (watch.foundClosed(version.status()))
        version = versionText(client, server);
    if (!version.ok())
        return version.status();
    const Result<double> latency = fastestAnswerMs([&] {
        Bson answer;
        return ask(client, server, "ping", answer);
    });
    if (!latency.ok())
        return latency.status();
    ServiceHealth health;
    health.engine = QStringLiteral("MongoDB %1").arg(version.value());
    health.place = server.hosts;
    health.remote = true;
    health.encryption = server.encrypted ? QStringLiteral("TLS") : QString();
    health.topology = topologyText(description.get());
    health.latencyMs = latency.value();
    return health;
}

} // namespace KOZAV::Backend
