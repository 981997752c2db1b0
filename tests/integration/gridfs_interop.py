#!/usr/bin/python3
"""Another driver's view of a GridFS bucket, for a test that compares it with the document store's.

Usage: gridfs_interop.py URI DATABASE BUCKET VERB [ARGUMENT...]
  put NAME PATH [CHUNK_SIZE]    stores a file
  get NAME PATH [REVISION]      fetches the newest, or a revision counted from 0
  remove NAME                   removes every revision
  describe NAME                 prints what is known of the newest as JSON
  list                          prints the names as JSON
  indexes                       prints the indexes of both collections as JSON
"""

import json
import sys

import gridfs
import pymongo


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


def main(uri, database, bucket, verb, *arguments):
    with pymongo.MongoClient(uri, serverSelectionTimeoutMS=10_000) as client:
        answer = getattr(Bucket(client[database], bucket), verb)(*arguments)
    if answer is not None:
        print(json.dumps(answer))


if __name__ == "__main__":
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
