#!/usr/bin/python3
"""Checks the GridFS peer with an independent driver."""

import json
import os
import pathlib
import signal
import socket
import subprocess
import tempfile
import time
import unittest

import bson
import gridfs
import pymongo
from pymongo import errors

from peer_process import PeerProcess, ask

CHUNK = 255 * 1024


def names(found):
    return sorted(document["name"] for document in found)


class PeerCase(unittest.TestCase):
    """A fresh peer and a client."""

    options = ()
    client_options = {}

    def setUp(self):
        self.peer = PeerProcess(*self.options)
        self.client = self.peer.client(**self.client_options)
        self.database = self.client.jobs
        self.files = gridfs.GridFS(self.database, "archives")
        self.addCleanup(self.peer.close)
        self.addCleanup(self.client.close)

    def plan(self, *plans):
        ask(self.client, "plan", plans=list(plans))

    def order(self, do, **order):
        return ask(self.client, do, **order)


class Storing(PeerCase):
    def test_files_come_back_equal(self):
        for size in (0, 1, CHUNK - 1, CHUNK, CHUNK + 1, 5 * CHUNK + 77):
            with self.subTest(size=size):
                content = os.urandom(size)
                identifier = self.files.put(content, filename="f%d" % size, note={"size": size})
                found = self.files.get(identifier)
                self.assertEqual(found.read(), content)
                self.assertEqual((found.length, found.note), (size, {"size": size}))

    def test_files_are_listed_and_deleted(self):
        identifiers = [self.files.put(b"x" * CHUNK * 3, filename=name) for name in ("一", "b", "c")]
        self.assertEqual(sorted(self.files.list()), ["b", "c", "一"])
        self.files.delete(identifiers[0])
        self.assertFalse(self.files.exists(identifiers[0]))
        self.assertEqual(self.order("counters")["chunks"], 6)
        self.assertEqual(self.order("check")["incomplete"], [])

    def test_revisions_are_apart(self):
        for text in (b"first", b"second"):
            self.files.put(text, filename="same")
        self.assertEqual(self.files.get_version("same", 0).read(), b"first")
        self.assertEqual(self.files.get_last_version("same").read(), b"second")

    def test_a_reply_stays_under_16_mb(self):
        content = os.urandom(40_000_000)
        identifier = self.files.put(content, filename="large")
        before = self.order("counters")["commands"].get("getMore", 0)
        chunks = list(self.database.archives.chunks.find({"files_id": identifier}).sort("n", 1).batch_size(1000))
        self.assertEqual(b"".join(chunk["data"] for chunk in chunks), content)
        self.assertEqual(self.order("counters")["commands"]["getMore"] - before, 2)
        self.assertEqual(self.order("counters")["openCursors"], 0)

    def test_inserts_do_not_slow_down(self):
        chunks = self.database.archives.chunks
        chunks.create_index([("files_id", 1), ("n", 1)], unique=True)
        times = []
        for start in range(0, 20_000, 1000):
            batch = [{"files_id": start // 10_000, "n": n, "data": b"c" * 2048} for n in range(start, start + 1000)]
            begin = time.perf_counter()
            chunks.insert_many(batch)
            times.append(time.perf_counter() - begin)
        self.assertEqual(chunks.count_documents({}), 20_000)
        self.assertLess(min(times[-8:]), 5 * min(times[:8]))
        self.assertEqual(chunks.find_one({"files_id": 1, "n": 19_999})["data"], b"c" * 2048)


class Rules(PeerCase):
    def test_unique_index_refuses_a_second(self):
        chunks = self.database.archives.chunks
        chunks.create_index([("files_id", 1), ("n", 1)], unique=True)
        chunks.insert_one({"files_id": 1, "n": 0, "data": b"x"})
        with self.assertRaises(errors.DuplicateKeyError) as caught:
            chunks.insert_one({"files_id": 1, "n": 0, "data": b"y"})
        self.assertEqual(caught.exception.details["keyValue"], {"files_id": 1, "n": 0})
        with self.assertRaises(errors.BulkWriteError) as caught:
            chunks.insert_many([{"files_id": 1, "n": n, "data": b"z"} for n in (1, 0, 2)])
        self.assertEqual(caught.exception.details["nInserted"], 1)
        self.assertEqual(caught.exception.details["writeErrors"][0]["index"], 1)
        self.assertEqual(chunks.count_documents({}), 2)

    def test_dropped_index_refuses_no_more(self):
        things = self.database.things
        name = things.create_index("key", unique=True)
        things.insert_one({"key": 1})
        with self.assertRaises(errors.OperationFailure) as caught:
            things.drop_index("other")
        self.assertEqual(caught.exception.code, 27)
        things.drop_index(name)
        things.insert_one({"key": 1})
        self.assertEqual([index["name"] for index in things.list_indexes()], ["_id_"])

    def test_documents_are_found_by_type(self):
        values = {"number": 1, "long": bson.Int64(1), "text": "1", "id": bson.ObjectId(), "flag": True, "none": None}
        things = self.database.things
        things.insert_many([{"name": name, "value": value} for name, value in values.items()])
        things.insert_one({"name": "missing"})
        for name, wanted in (("id", "objectId"), ("id", 7), ("number", "int"), ("long", 18), ("flag", 8), ("none", 10)):
            with self.subTest(wanted=wanted):
                self.assertEqual(names(things.find({"value": {"$type": wanted}})), [name])
        others = names(things.find({"value": {"$not": {"$type": 7}}}))
        self.assertEqual(others, ["flag", "long", "missing", "none", "number", "text"])
        low, high = bson.ObjectId("0" * 24), bson.ObjectId("f" * 24)
        self.assertEqual(names(things.find({"value": {"$gt": low, "$lte": high}})), ["id"])

    def test_fields_change_in_documents_only(self):
        things = self.database.things
        things.insert_many([{"name": "a", "part": {"x": 1}}, {"name": "b"}, {"name": "c", "part": "text"}])
        for name in "ab":
            self.assertEqual(things.update_one({"name": name}, {"$set": {"part.y": 2}}).modified_count, 1)
        with self.assertRaises(errors.WriteError) as caught:
            things.update_one({"name": "c"}, {"$set": {"part.y": 2}})
        self.assertEqual(caught.exception.code, 28)
        self.assertEqual([found.get("part") for found in things.find().sort("name")], [{"x": 1, "y": 2}, {"y": 2}, "text"])
        for name in "abc":
            things.update_one({"name": name}, {"$unset": {"part.y": "", "other.y": ""}})
        self.assertEqual([found.get("part") for found in things.find().sort("name")], [{"x": 1}, {}, "text"])
        self.assertFalse(any("other" in found for found in things.find()))

    def test_unordered_insert_goes_on(self):
        things = self.database.things
        with self.assertRaises(errors.BulkWriteError):
            things.insert_many([{"_id": 1}, {"_id": 1}, {"_id": 2}], ordered=False)
        self.assertEqual(things.count_documents({}), 2)

    def test_partial_index_looks_at_its_part_only(self):
        files = self.database.archives.files
        files.create_index(
            "filename", unique=True, partialFilterExpression={"metadata.sha256": {"$exists": True}}, name="whole"
        )
        files.insert_many([{"filename": "a"}, {"filename": "a"}])
        files.insert_one({"filename": "a", "metadata": {"sha256": "1"}})
        with self.assertRaises(errors.DuplicateKeyError):
            files.insert_one({"filename": "a", "metadata": {"sha256": "2"}})
        self.assertEqual(names(files.list_indexes()), ["_id_", "whole"])

    def test_long_document_is_refused(self):
        raw = bson.encode({"insert": "things", "documents": [], "$db": "jobs"})
        document = bson.encode({"_id": 1, "data": b"x" * (16 * 1024 * 1024)})
        reply = self._answer(raw, document)
        self.assertEqual(reply["writeErrors"][0]["code"], 10334)

    def test_long_message_ends_the_connection(self):
        with socket.create_connection(("127.0.0.1", self.peer.port)) as link:
            link.sendall((48_000_001).to_bytes(4, "little") + bytes(8) + (2013).to_bytes(4, "little"))
            self.assertEqual(link.recv(1), b"")

    def _answer(self, command, document):
        sequence = b"documents\x00" + document
        body = bytes(4) + b"\x00" + command + b"\x01" + (len(sequence) + 4).to_bytes(4, "little") + sequence
        with socket.create_connection(("127.0.0.1", self.peer.port)) as link:
            link.sendall((16 + len(body)).to_bytes(4, "little") + bytes(8) + (2013).to_bytes(4, "little") + body)
            size = int.from_bytes(link.recv(4, socket.MSG_WAITALL), "little")
            return bson.decode(link.recv(size - 4, socket.MSG_WAITALL)[17:])

    def test_unknown_command_is_refused(self):
        with self.assertRaises(errors.OperationFailure) as caught:
            self.client.admin.command("noSuchCommand")
        self.assertEqual(caught.exception.code, 59)

    def test_filters_updates_and_groups(self):
        things = self.database.things
        things.insert_many([{"_id": n, "deep": {"n": n}, "kind": "ab"[n % 2]} for n in range(10)])
        self.assertEqual([t["_id"] for t in things.find({"deep.n": {"$gt": 7}})], [8, 9])
        self.assertEqual(things.count_documents({"_id": {"$in": [1, 2, 77]}, "kind": {"$exists": True}}), 2)
        self.assertEqual([t["_id"] for t in things.find({"kind": "a"}).sort("_id", -1).skip(1).limit(2)], [6, 4])
        self.assertEqual(things.find_one({"_id": 3}, {"kind": 1}), {"_id": 3, "kind": "b"})
        self.assertEqual(things.update_many({"kind": "a"}, {"$set": {"deep.m": 1}}).modified_count, 5)
        self.assertEqual(things.find_one({"_id": 0}), {"_id": 0, "deep": {"n": 0, "m": 1}, "kind": "a"})
        self.assertEqual(things.delete_many({"kind": "b"}).deleted_count, 5)
        self.assertEqual(things.delete_one({}).deleted_count, 1)
        groups = list(things.aggregate([{"$group": {"_id": "$kind", "most": {"$max": "$deep.n"}}}]))
        self.assertEqual(groups, [{"_id": "a", "most": 8}])
        things.drop()
        self.assertEqual(self.database.list_collection_names(), [])


class FaultsAlone(PeerCase):
    """Faults as a server alone shows them: a driver repeats no write."""

    client_options = {"retryReads": False, "socketTimeoutMS": 1500, "serverSelectionTimeoutMS": 1500}

    def put(self, size=3 * CHUNK):
        return self.files.put(b"y" * size, filename="faulty")

    def test_refused_chunk(self):
        for n in (1, 2, 3):
            self.plan({"action": "error", "at": "chunk", "n": n})
            with self.assertRaises(errors.WriteError):
                self.put()
            self.assertEqual(self.order("counters")["hits"], 1)
        self.assertEqual(self.order("check"), {"incomplete": [], "orphanChunks": 0, "ok": 1.0})

    def test_batch_that_holds_the_chunk(self):
        chunks = self.database.archives.chunks
        self.plan({"action": "full", "at": "chunk", "n": 5})
        chunks.insert_many([{"files_id": 1, "n": n, "data": b"x"} for n in range(3)])
        with self.assertRaises(errors.BulkWriteError) as caught:
            chunks.insert_many([{"files_id": 1, "n": n, "data": b"x"} for n in range(3, 6)])
        self.assertEqual(caught.exception.details["writeErrors"][0]["code"], 14031)
        self.assertEqual(sorted(chunk["n"] for chunk in chunks.find()), [0, 1, 2, 3])

    def test_files_document(self):
        for action, failure in (("error", errors.WriteError), ("wcerror", errors.WriteConcernError)):
            self.plan({"action": action, "at": "file"})
            with self.assertRaises(failure):
                self.put()
        self.assertEqual(self.order("counters")["files"], 1)

    def test_dropped_before_and_after(self):
        for after, stored in ((False, 0), (True, 1)):
            self.order("reset")
            self.plan({"action": "drop", "at": "file", "after": after})
            with self.assertRaises(errors.AutoReconnect):
                self.put()
            self.assertEqual(self.order("counters")["files"], stored)

    def test_stalled_reply(self):
        identifier = self.put()
        self.plan({"action": "stall", "at": "read"})
        with self.assertRaises(errors.NetworkTimeout):
            self.files.get(identifier).read()
        self.assertEqual(self.files.get(identifier).read(), b"y" * 3 * CHUNK)

    def test_gone_and_back(self):
        self.put()
        self.plan({"action": "refuse", "at": "chunk", "n": 2})
        with self.assertRaises(errors.AutoReconnect):
            self.put()
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.1", self.peer.port))
        with socket.create_connection(("127.0.0.1", self.peer.control_port), 10) as link, link.makefile("r") as lines:
            link.sendall(b'{"do": "listen"}\n{"do": "counters"}\n{"do": "nothing"}\n')
            self.assertEqual(json.loads(lines.readline()), {})
            self.assertEqual(json.loads(lines.readline())["files"], 1)
            self.assertIn("unknown order", json.loads(lines.readline())["error"])
        self.put()
        self.assertEqual(self.order("counters")["files"], 2)

    def test_silent_handshake(self):
        self.plan({"action": "stall", "at": "handshake", "times": 0})
        late = pymongo.MongoClient("127.0.0.1", self.peer.port, serverSelectionTimeoutMS=500, connectTimeoutMS=300)
        with self.assertRaises(errors.ServerSelectionTimeoutError):
            late.admin.command("ping")
        late.close()

    def test_damage_is_listed(self):
        for how in ("cut", "grow", "renumber"):
            self.order("reset")
            self.put()
            self.order("damage", filename="faulty", n=1, how=how)
            self.assertEqual(self.order("check")["incomplete"], ["faulty"])
        self.order("reset")
        self.put()
        self.order("damage", filename="faulty", n=2, how="forget")
        self.assertEqual(self.order("check")["incomplete"], ["faulty"])
        self.database.archives.files.delete_many({})
        self.assertEqual(self.order("check"), {"incomplete": [], "orphanChunks": 2, "ok": 1.0})

    def test_transaction_number_is_refused(self):
        with self.assertRaises(errors.OperationFailure) as caught:
            self.database.command({"insert": "t", "documents": [{}], "txnNumber": bson.Int64(1), "lsid": {"id": b"1"}})
        self.assertEqual(caught.exception.code, 20)


class FaultsInReplicaSet(PeerCase):
    """Faults as a replica set shows them: a driver repeats a write once."""

    options = ("--replica-set", "rs0")
    client_options = {"replicaSet": "rs0"}

    def test_repeated_write_is_done_once(self):
        for action, after in (("drop", False), ("drop", True), ("notprimary", False)):
            self.order("reset")
            self.plan({"action": action, "at": "chunk", "n": 2, "after": after})
            identifier = self.files.put(b"z" * 3 * CHUNK, filename="repeated")
            self.assertEqual(self.files.get(identifier).read(), b"z" * 3 * CHUNK)
            counters = self.order("counters")
            self.assertEqual((counters["chunks"], counters["files"], counters["hits"]), (3, 1, 1))

    def test_batch_is_taken_up_where_it_broke(self):
        self.plan({"action": "drop", "at": "chunk", "n": 3})
        chunks = self.database.archives.chunks
        chunks.insert_many([{"files_id": 1, "n": n, "data": b"x"} for n in range(5)])
        self.assertEqual(sorted(chunk["n"] for chunk in chunks.find()), [0, 1, 2, 3, 4])
        self.assertEqual(self.order("counters")["commands"]["insert"], 2)


class Access(unittest.TestCase):
    def test_login(self):
        environment = {**os.environ, "ZAV_PEER_PASSWORD": "right"}
        with PeerProcess("--user", "operator", environment=environment) as peer:
            with peer.client(username="operator", password="right") as client:
                client.jobs.things.insert_one({"_id": 1})
            for options in ({}, {"username": "operator", "password": "wrong"}):
                with peer.client(**options) as client, self.assertRaises(errors.OperationFailure):
                    client.jobs.things.find_one()

    def test_tls(self):
        with tempfile.TemporaryDirectory() as folder:
            key, certificate = os.path.join(folder, "key"), os.path.join(folder, "certificate")
            subprocess.run(
                ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"]
                + ["-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-days", "2"]
                + ["-keyout", key, "-out", certificate],
                check=True,
                stderr=subprocess.DEVNULL,
            )
            with PeerProcess("--tls-certificate", certificate, "--tls-key", key) as peer:
                with peer.client(tls=True, tlsCAFile=certificate) as client:
                    content = os.urandom(3_000_000)
                    files = gridfs.GridFS(client.jobs)
                    self.assertEqual(files.get(files.put(content)).read(), content)

    def test_this_machine_alone(self):
        with PeerProcess() as peer:
            ports = {f"{port:04X}" for port in (peer.port, peer.control_port)}
            found = {}
            for table in ("tcp", "tcp6"):
                for line in pathlib.Path("/proc/net", table).read_text().splitlines()[1:]:
                    address, port = line.split()[1].split(":")
                    if port in ports and line.split()[3] == "0A":
                        found.setdefault(port, []).append(address)
            self.assertEqual(found, {port: ["0100007F"] for port in ports})

    def test_end(self):
        peer = PeerProcess()
        self.assertEqual(peer.close(), 0)
        peer = PeerProcess()
        os.kill(peer.pid, signal.SIGTERM)
        self.assertEqual(peer.close(), -signal.SIGTERM)


if __name__ == "__main__":
    unittest.main()
