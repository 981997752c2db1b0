"""The commands of the GridFS peer by name, but those that read or write documents."""

import datetime

import bson

import peer_reads
import peer_wire
import peer_writes
from peer_data import MAX_DOCUMENT
from peer_documents import Refused
from peer_scram import sasl_continue, sasl_start

VERSION = "4.4.0"


def hello(server, message):
    reply = {
        "helloOk": True,
        "ismaster": True,
        "isWritablePrimary": True,
        "maxBsonObjectSize": MAX_DOCUMENT,
        "maxMessageSizeBytes": peer_wire.MAX_MESSAGE,
        "maxWriteBatchSize": 100_000,
        "localTime": datetime.datetime.utcnow(),
        "logicalSessionTimeoutMinutes": 30,
        "minWireVersion": 0,
        "maxWireVersion": 9,
        "readOnly": False,
        "ok": 1.0,
    }
    if server.replica_set:
        here = "127.0.0.1:%d" % server.port
        reply.update(setName=server.replica_set, setVersion=1, secondary=False, hosts=[here], primary=here, me=here)
    if server.login and "saslSupportedMechs" in message.command:
        reply["saslSupportedMechs"] = ["SCRAM-SHA-256"]
    return reply


def build_info(_server, _message):
    number = [int(part) for part in VERSION.split(".")] + [0]
    return {"version": VERSION, "versionArray": number, "bits": 64, "maxBsonObjectSize": MAX_DOCUMENT, "ok": 1.0}


def fine(_server, _message):
    return {"ok": 1.0}


def server_status(server, _message):
    return {"host": "127.0.0.1:%d" % server.port, "version": VERSION, "process": "mongod", "ok": 1.0}


def connection_status(server, _message):
    users = [{"user": server.login[0], "db": "admin"}] if server.login else []
    return {"authInfo": {"authenticatedUsers": users, "authenticatedUserRoles": []}, "ok": 1.0}


def create_indexes(server, message):
    collection = server.data.made(server.namespace(message.command))
    before = len(collection.indexes)
    for options in message.command["indexes"]:
        collection.create_index(options)
    return {"numIndexesBefore": before, "numIndexesAfter": len(collection.indexes), "ok": 1.0}


def list_indexes(server, message):
    namespace = server.namespace(message.command)
    if namespace not in server.data.collections:
        raise Refused(26, "ns does not exist: " + namespace, "NamespaceNotFound")
    indexes = server.data.collections[namespace].indexes.values()
    return peer_wire.batch_reply(namespace, 0, "firstBatch", [bson.encode(index.options) for index in indexes])


def drop_indexes(server, message):
    namespace = server.namespace(message.command)
    if namespace not in server.data.collections:
        raise Refused(26, "ns not found", "NamespaceNotFound")
    indexes = server.data.collections[namespace].indexes
    before, name = len(indexes), message.command["index"]
    if name == "_id_":
        raise Refused(72, "cannot drop _id index", "InvalidOptions")
    if name != "*" and name not in indexes:
        raise Refused(27, "index not found with name [%s]" % name, "IndexNotFound")
    for dropped in [known for known in indexes if known != "_id_" and name in ("*", known)]:
        del indexes[dropped]
    return {"nIndexesWas": before, "ok": 1.0}


def list_collections(server, message):
    prefix = message.command["$db"] + "."
    names = [name[len(prefix) :] for name in server.data.collections if name.startswith(prefix)]
    wanted = message.command.get("filter", {}).get("name")
    found = [{"name": name, "type": "collection"} for name in names if wanted in (None, name)]
    raws = [bson.encode(document) for document in found]
    return peer_wire.batch_reply(prefix + "$cmd.listCollections", 0, "firstBatch", raws)


def list_databases(server, _message):
    names = sorted({name.split(".")[0] for name in server.data.collections})
    return {"databases": [{"name": name, "empty": False} for name in names], "ok": 1.0}


def create(server, message):
    server.data.made(server.namespace(message.command))
    return {"ok": 1.0}


def drop(server, message):
    namespace = server.namespace(message.command)
    if server.data.collections.pop(namespace, None) is None:
        raise Refused(26, "ns not found", "NamespaceNotFound")
    return {"ns": namespace, "ok": 1.0}


def drop_database(server, message):
    prefix = message.command["$db"] + "."
    for name in [name for name in server.data.collections if name.startswith(prefix)]:
        del server.data.collections[name]
    return {"dropped": prefix[:-1], "ok": 1.0}


def control(server, message):
    return {**server.control(message.command["zavPeer"]), "ok": 1.0}


HANDSHAKES = ("hello", "isMaster", "ismaster")
WITHOUT_LOGIN = HANDSHAKES + ("saslStart", "saslContinue", "ping", "buildInfo", "buildinfo", "zavPeer")
COMMANDS = {
    **dict.fromkeys(HANDSHAKES, hello),
    "ping": fine,
    "buildInfo": build_info,
    "buildinfo": build_info,
    "serverStatus": server_status,
    "connectionStatus": connection_status,
    "saslStart": sasl_start,
    "saslContinue": sasl_continue,
    "insert": peer_writes.insert,
    "delete": peer_writes.delete,
    "update": peer_writes.update,
    "findAndModify": peer_writes.find_and_modify,
    "find": peer_reads.find,
    "getMore": peer_reads.get_more,
    "killCursors": peer_reads.kill_cursors,
    "count": peer_reads.count,
    "distinct": peer_reads.distinct,
    "aggregate": peer_reads.aggregate,
    "createIndexes": create_indexes,
    "dropIndexes": drop_indexes,
    "listIndexes": list_indexes,
    "listCollections": list_collections,
    "listDatabases": list_databases,
    "create": create,
    "drop": drop,
    "dropDatabase": drop_database,
    "endSessions": fine,
    "refreshSessions": fine,
    "zavPeer": control,
}
