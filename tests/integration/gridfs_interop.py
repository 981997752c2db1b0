#!/usr/bin/python3
"""Another driver's view of a GridFS bucket, for a test that compares it with the document store's.

Usage: gridfs_interop.py URI DATABASE BUCKET VERB [ARGUMENT...]
  put NAME PATH [CHUNK_SIZE]    stores a file
  get NAME PATH [REVISION]      fetches the newest, or a revision counted from 0
  remove NAME                   removes every revision
  describe NAME                 prints what is known of the newest as JSON
  list                          prints the names as JSON
  indexes                       prints the indexes of both collections as JSON
  many COUNT                    stores that many small files as our programs do, "f0" and so on
  plant NAME DAYS [ID]          stores a file whose identifier is that of a file of so many days ago, or the text ID
  strand COUNT DAYS             stores chunks without a file, as old; prints their identifier as JSON
  drop_chunk NAME N             removes a chunk
  add_chunk NAME N SIZE         adds a chunk
  drop_index PART NAME          removes an index of "files" or "chunks"
  rename NAME OTHER             gives a files document another filename; none where OTHER is empty
  identifier NAME               prints the identifier of a file as JSON
  chunks                        prints how many chunks there are as JSON
"""

import datetime
import hashlib
import json
import os
import sys

import gridfs
import pymongo
from bson import ObjectId


def identifier_of(days):
    """An ObjectId as old as that, different from all others."""
    made = datetime.datetime.utcnow() - datetime.timedelta(days=float(days))
    return ObjectId(ObjectId.from_datetime(made).binary[:4] + os.urandom(8))


class Bucket:
    """What a test can do by the other driver."""

    def __init__(self, database, name):
        self._database = database
        self._name = name
        self._files = gridfs.GridFS(database, name)

    def put(self, name, path, chunk_size=None):
        options = {"chunkSize": int(chunk_size)} if chunk_size else {}
        with open(path, "rb") as source:
            self._files.put(source, filename=name, **options)

    def get(self, name, path, revision="-1"):
        with open(path, "wb") as target:
            target.write(self._files.get_version(name, int(revision)).read())

    def remove(self, name):
        for found in self._files.find({"filename": name}):
            self._files.delete(found._id)

    def describe(self, name):
        found = self._files.get_last_version(name)
        described = {"length": found.length, "chunkSize": found.chunk_size, "metadata": found.metadata}
        described["chunks"] = self._database[self._name].chunks.count_documents({"files_id": found._id})
        described["revisions"] = len(list(self._files.find({"filename": name})))
        return described

    def list(self):
        return sorted(self._files.list())

    def indexes(self):
        return {
            part: [
                {"key": list(index["key"].items()), "unique": bool(index.get("unique"))}
                for index in self._database[self._name][part].list_indexes()
            ]
            for part in ("files", "chunks")
        }

    def many(self, count):
        made, files, chunks = datetime.datetime.utcnow(), [], []
        for number in range(int(count)):
            content, identifier = b"content %d" % number, ObjectId()
            metadata = {"sha256": hashlib.sha256(content).hexdigest(), "length": len(content)}
            sizes = {"length": len(content), "chunkSize": 261_120}
            files.append(
                {"_id": identifier, "filename": "f%d" % number, "uploadDate": made, "metadata": metadata, **sizes}
            )
            chunks.append({"files_id": identifier, "n": 0, "data": content})
        self._part("chunks").insert_many(chunks)
        self._part("files").insert_many(files)

    def plant(self, name, days, identifier=None):
        self._files.put(b"content", filename=name, _id=identifier or identifier_of(days))

    def strand(self, count, days):
        identifier = identifier_of(days)
        chunks = [{"files_id": identifier, "n": n, "data": b"d" * 1000} for n in range(int(count))]
        self._part("chunks").insert_many(chunks)
        return str(identifier)

    def drop_chunk(self, name, number):
        removed = self._part("chunks").delete_one({"files_id": self._identifier(name), "n": int(number)})
        assert removed.deleted_count == 1

    def add_chunk(self, name, number, size):
        chunk = {"files_id": self._identifier(name), "n": int(number), "data": b"x" * int(size)}
        self._part("chunks").insert_one(chunk)

    def drop_index(self, part, name):
        self._part(part).drop_index(name)

    def rename(self, name, other=""):
        change = {"$set": {"filename": other}} if other else {"$unset": {"filename": ""}}
        assert self._part("files").update_one({"filename": name}, change).modified_count == 1

    def identifier(self, name):
        return str(self._identifier(name))

    def chunks(self):
        return self._part("chunks").count_documents({})

    def _part(self, part):
        return self._database[self._name][part]

    def _identifier(self, name):
        return self._part("files").find_one({"filename": name})["_id"]


def main(uri, database, bucket, verb, *arguments):
    with pymongo.MongoClient(uri, serverSelectionTimeoutMS=10_000) as client:
        answer = getattr(Bucket(client[database], bucket), verb)(*arguments)
    if answer is not None:
        print(json.dumps(answer))


if __name__ == "__main__":
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
