#!/usr/bin/python3
"""The peers of the GridFS benchmark: pymongo's gridfs, and a bare socket that only moves the bytes.

Usage: gridfs_pymongo.py URI FOLDER COUNT
Reads lines "CONTENDER WORK" and answers each with the seconds that it took.
CONTENDER: pymongo, pymongo-no-md5, pymongo-checked, bare. WORK: put-large, get-large, put-many, get-many, remove.
FOLDER holds the file "large" and the folder "small" with the files 0 to COUNT - 1; "out" is written to.
"""

import datetime
import hashlib
import os
import socket
import struct
import sys
import time

import bson
import gridfs
import pymongo

CHUNK = 255 * 1024
BATCH = 16
_HEADER = struct.Struct("<iiii")
_INT32 = struct.Struct("<i")
_INT64 = struct.Struct("<q")
_OP_MSG = 2013
# Where the elements of an answer's document begin: behind its header, its flags, the kind of its section, its length.
_BODY = 16 + 4 + 1 + 4
# Lengths of the values of BSON's kinds that always have the same: numbers, ids, truth, times, nothing.
_FIXED = {0x01: 8, 0x07: 12, 0x08: 1, 0x09: 8, 0x0A: 0, 0x10: 4, 0x11: 8, 0x12: 8}


def content(path):
    with open(path, "rb") as source:
        return source.read()


class Pymongo:
    """pymongo's gridfs, as its manual uses it."""

    def __init__(self, uri, folder, count, disable_md5):
        self._folder = folder
        self._count = count
        self._client = pymongo.MongoClient(uri)
        database = self._client["bench_pymongo_no_md5" if disable_md5 else "bench_pymongo"]
        self._files = gridfs.GridFS(database, "archives", disable_md5=disable_md5)

    def _put(self, name, path):
        with open(path, "rb") as source:
            self._files.put(source, filename=name)

    def _get(self, name):
        found = self._files.get_last_version(name)
        with open(os.path.join(self._folder, "out", name), "wb") as target:
            while block := found.readchunk():
                target.write(block)

    def put_large(self):
        self._put("large", os.path.join(self._folder, "large"))

    def get_large(self):
        self._get("large")

    def put_many(self):
        for number in range(self._count):
            self._put(str(number), os.path.join(self._folder, "small", str(number)))

    def get_many(self):
        for number in range(self._count):
            self._get(str(number))

    def remove(self):
        for found in self._files.find():
            self._files.delete(found._id)


class CheckedPymongo(Pymongo):
    """pymongo's gridfs with what the document store promises beside it: SHA-256 kept and checked, a fetched file
    replaced as a whole and on the disk."""

    def __init__(self, uri, folder, count):
        super().__init__(uri, folder, count, True)
        self._files = gridfs.GridFS(self._client["bench_pymongo_checked"], "archives", disable_md5=True)

    def _put(self, name, path):
        sha256 = hashlib.sha256()
        with open(path, "rb") as source, self._files.new_file(filename=name) as stored:
            while block := source.read(CHUNK):
                sha256.update(block)
                stored.write(block)
            stored.metadata = {"sha256": sha256.hexdigest()}

    def _get(self, name):
        found = self._files.get_last_version(name)
        path = os.path.join(self._folder, "out", name)
        sha256 = hashlib.sha256()
        with open(path + ".new", "wb") as target:
            while block := found.readchunk():
                sha256.update(block)
                target.write(block)
            target.flush()
            os.fsync(target.fileno())
        if sha256.hexdigest() != found.metadata["sha256"]:
            raise ValueError("%s is damaged" % name)
        os.rename(path + ".new", path)


class Bare:
    """Messages that were encoded before the clock runs, and answers that nobody looks at."""

    def __init__(self, uri, folder, count):
        self._folder = folder
        self._server = pymongo.uri_parser.parse_uri(uri)["nodelist"][0]
        self._link = None
        self._buffer = memoryview(bytearray(48_000_000))
        self._large = [bson.ObjectId()]
        self._small = [bson.ObjectId() for _ in range(count)]

    @staticmethod
    def _message(command, documents=()):
        body = bytes(4) + b"\x00" + bson.encode({**command, "$db": "bench_bare"})
        if documents:
            sequence = b"documents\x00" + b"".join(map(bson.encode, documents))
            body += b"\x01" + _INT32.pack(4 + len(sequence)) + sequence
        return _HEADER.pack(_HEADER.size + len(body), 1, 0, _OP_MSG) + body

    def _exchange(self, message):
        """@return the length of the answer, which is in the buffer"""
        if not self._link:
            self._link = socket.create_connection(self._server)
            self._link.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._link.sendall(message)
        self._link.recv_into(self._buffer, 4, socket.MSG_WAITALL)
        (size,) = _INT32.unpack_from(self._buffer)
        self._link.recv_into(self._buffer[4:], size - 4, socket.MSG_WAITALL)
        return size

    def _put_messages(self, identifier, path):
        data = content(path)
        chunks = [
            {"_id": bson.ObjectId(), "files_id": identifier, "n": n, "data": data[n * CHUNK : (n + 1) * CHUNK]}
            for n in range((len(data) + CHUNK - 1) // CHUNK)
        ]
        file = {"_id": identifier, "length": len(data), "chunkSize": CHUNK, "filename": str(identifier)}
        file["uploadDate"] = datetime.datetime.utcnow()
        messages = [self._message({"find": "archives.files", "filter": {"filename": str(identifier)}, "limit": 1})]
        for first in range(0, len(chunks), BATCH):
            messages.append(self._message({"insert": "archives.chunks"}, chunks[first : first + BATCH]))
        return messages + [self._message({"insert": "archives.files"}, [file])]

    def _get_messages(self, identifier):
        return [
            self._message({"find": "archives.files", "filter": {"filename": str(identifier)}, "limit": 1}),
            self._message(
                {"find": "archives.chunks", "filter": {"files_id": identifier}, "sort": {"n": 1}, "batchSize": BATCH}
            ),
        ]

    def _element(self, begin, end, name):
        """Looks for an element between two places in the buffer, without decoding what lies before it.
        @return the place of its value; 0 where there is none"""
        while begin < end and (kind := self._buffer[begin]):
            after = begin + 1
            while self._buffer[after]:
                after += 1
            if bytes(self._buffer[begin + 1 : after]) == name:
                return after + 1
            begin = after + 1
            if kind in _FIXED:
                begin += _FIXED[kind]
            else:
                # The length of a document counts itself, that of a text or of bytes does not.
                begin += _INT32.unpack_from(self._buffer, begin)[0] + {2: 4, 5: 5}.get(kind, 0)
        return 0

    def _cursor(self, size):
        """The cursor of the answer in the buffer; 0 where it has been read to its end."""
        at = self._element(_BODY, size, b"cursor")
        if not at:
            raise ValueError("the server refuses: %r" % bson.decode(bytes(self._buffer[_BODY - 4 : size])))
        (length,) = _INT32.unpack_from(self._buffer, at)
        return _INT64.unpack_from(self._buffer, self._element(at + 4, at + length, b"id"))[0]

    def _timed_puts(self, identifiers, paths):
        messages = [m for identifier, path in zip(identifiers, paths) for m in self._put_messages(identifier, path)]
        begin = time.perf_counter()
        for message in messages:
            self._exchange(message)
        return time.perf_counter() - begin

    def _timed_gets(self, identifiers):
        messages = [self._get_messages(identifier) for identifier in identifiers]
        begin = time.perf_counter()
        for look, fetch in messages:
            self._cursor(self._exchange(look))
            cursor = self._cursor(self._exchange(fetch))
            more = {"getMore": bson.Int64(cursor), "collection": "archives.chunks", "batchSize": BATCH}
            while cursor:
                cursor = self._cursor(self._exchange(self._message(more)))
        return time.perf_counter() - begin

    def put_large(self):
        return self._timed_puts(self._large, [os.path.join(self._folder, "large")])

    def get_large(self):
        return self._timed_gets(self._large)

    def put_many(self):
        paths = [os.path.join(self._folder, "small", str(number)) for number in range(len(self._small))]
        return self._timed_puts(self._small, paths)

    def get_many(self):
        return self._timed_gets(self._small)

    def remove(self):
        for name in ("archives.files", "archives.chunks"):
            self._exchange(self._message({"drop": name}))


def main(uri, folder, count):
    contenders = {
        "pymongo": Pymongo(uri, folder, int(count), False),
        "pymongo-no-md5": Pymongo(uri, folder, int(count), True),
        "pymongo-checked": CheckedPymongo(uri, folder, int(count)),
        "bare": Bare(uri, folder, int(count)),
    }
    for line in sys.stdin:
        contender, work = line.split()
        begin = time.perf_counter()
        own_time = getattr(contenders[contender], work.replace("-", "_"))()
        print(time.perf_counter() - begin if own_time is None else own_time, flush=True)


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
