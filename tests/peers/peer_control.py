"""What a test may order and ask: plans of faults, damage to what is stored, counters and the listing."""

import datetime
import hashlib

from bson import ObjectId
from peer_documents import Stored, field, matches

_LONG_AGO = ObjectId.from_datetime(datetime.datetime(2020, 1, 1))


def control(server, request):
    """Carries out one order, such as {"do": "counters"}. @return the answer"""
    order = dict(request)
    name = order.pop("do")
    if name not in _ORDERS:
        raise ValueError("unknown order %r; accepted: %s" % (name, ", ".join(_ORDERS)))
    return _ORDERS[name](server, **order) or {}


def _plan(server, plans):
    server.faults.order(plans)


def _counters(server):
    counters = server.counters
    return {
        "commands": dict(counters.commands),
        "insertedChunks": counters.inserted_chunks,
        "mostChunksAtOnce": counters.most_chunks,
        "connections": counters.connections,
        "openConnections": len(server.connections),
        "openCursors": len(server.data.cursors),
        "hits": server.faults.hits,
        "chunks": sum(len(chunks.by_id) for _, _, chunks in server.data.buckets()),
        "files": sum(len(files.by_id) for _, files, _ in server.data.buckets()),
    }


def _chunks_of(chunks, file):
    found = chunks.find({"files_id": file["_id"]})
    return sorted(found, key=lambda stored: stored.head["n"])


def _data(stored):
    return bytes(stored.whole()["data"])


def _is_whole(file, chunks):
    sizes = [len(_data(stored)) for stored in chunks]
    numbers = [stored.head["n"] for stored in chunks]
    full = file["chunkSize"]
    return (
        numbers == list(range(len(chunks)))
        and sum(sizes) == file["length"]
        and all(size == full for size in sizes[:-1])
        and (not sizes or 0 < sizes[-1] <= full)
    )


def _check(server):
    incomplete, orphans = [], 0
    for _, files, chunks in server.data.buckets():
        owners = {stored.head["_id"] for stored in files.by_id.values()}
        orphans += sum(stored.head["files_id"] not in owners for stored in chunks.by_id.values())
        for stored in files.by_id.values():
            if not _is_whole(stored.head, _chunks_of(chunks, stored.head)):
                incomplete.append(stored.head.get("filename", ""))
    return {"incomplete": incomplete, "orphanChunks": orphans}


def _files(server):
    listed = []
    for bucket, files, chunks in server.data.buckets():
        for stored in files.by_id.values():
            content = hashlib.sha256()
            for chunk in _chunks_of(chunks, stored.head):
                content.update(_data(chunk))
            file = stored.head
            listed.append(
                {
                    "bucket": bucket,
                    "name": file.get("filename", ""),
                    "length": file["length"],
                    "chunkSize": file["chunkSize"],
                    "sha256": content.hexdigest(),
                }
            )
    return {"files": listed}


def _found_chunk(server, filename, n):
    for _, files, chunks in server.data.buckets():
        for file in files.find({"filename": filename}):
            for stored in chunks.find({"files_id": file.head["_id"]}):
                if stored.head["n"] == n:
                    return chunks, stored
    raise ValueError("no chunk %d of %s" % (n, filename))


def _flip(document):
    data = bytearray(document["data"])
    data[len(data) // 2] ^= 1
    return {**document, "data": bytes(data)}


DAMAGES = {
    "forget": None,
    "flip": _flip,
    "cut": lambda document: {**document, "data": bytes(document["data"])[:-1]},
    "grow": lambda document: {**document, "data": bytes(document["data"]) + b"x"},
    "empty": lambda document: {**document, "data": b""},
    "text": lambda document: {**document, "data": "no binary data"},
    "renumber": lambda document: {**document, "n": document["n"] + 1_000_000},
}


def _damage(server, filename, n, how):
    chunks, stored = _found_chunk(server, filename, n)
    if how == "forget":
        chunks.remove(stored)
    else:
        chunks.replace(stored, DAMAGES[how](stored.whole()))


def _plant_chunk(server, filename, kind):
    """Adds a chunk behind the last of a file ("surplus"), or one of a content that never became a file, of an
    upload that began long ago ("orphan")."""
    for _, files, chunks in server.data.buckets():
        for file in files.find({"filename": filename}):
            own = _chunks_of(chunks, file.head)
            owner, n = (file.head["_id"], len(own)) if kind == "surplus" else (_LONG_AGO, 0)
            chunks.insert(Stored.of({"_id": ObjectId(), "files_id": owner, "n": n, "data": b"planted"}))


def _drop_index(server, name):
    for _, files, chunks in server.data.buckets():
        for collection in (files, chunks):
            collection.indexes.pop(name, None)


def _set_file(server, filename, values):
    """Sets fields of a files document; a null value takes the field away. Dotted names go into parts."""
    for _, files, _ in server.data.buckets():
        for stored in files.find({"filename": filename}):
            document = stored.whole()
            for path, value in values.items():
                *parents, last = path.split(".")
                part = field(document, ".".join(parents)) if parents else document
                part[last] = value
                if value is None:
                    del part[last]
            files.replace(stored, document)


def _count_documents(server, namespace, filter):
    return {"count": sum(matches(stored.head, filter) for stored in server.data.existing(namespace).by_id.values())}


_ORDERS = {
    "plantChunk": _plant_chunk,
    "dropIndex": _drop_index,
    "plan": _plan,
    "counters": _counters,
    "check": _check,
    "files": _files,
    "damage": _damage,
    "setFile": _set_file,
    "countDocuments": _count_documents,
    "refuse": lambda server: server.stop_listening(),
    "listen": lambda server: server.listen(),
    "hangup": lambda server: server.hang_up(),
    "reset": lambda server: server.reset(),
}
