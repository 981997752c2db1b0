"""Starts the GridFS peer for a Python program."""

import pathlib
import subprocess
import sys

import pymongo

_PEER = pathlib.Path(__file__).with_name("gridfs_peer.py")


class PeerProcess:
    """A running peer; ends with the `with` block, or with this program."""

    def __init__(self, *options, environment=None):
        self._process = subprocess.Popen(
            [sys.executable, "-B", str(_PEER), *options],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
            env=environment,
        )
        self.port = self._port("port")
        self.control_port = self._port("control")
        self.pid = self._process.pid

    def _port(self, label):
        name, number = self._process.stdout.readline().split()
        if name != label:
            raise RuntimeError("the peer says %r" % name)
        return int(number)

    def client(self, **options):
        return pymongo.MongoClient("127.0.0.1", self.port, **{"serverSelectionTimeoutMS": 5000, **options})

    def close(self):
        """Closes the peer's standard input. @return its exit code"""
        self._process.stdin.close()
        code = self._process.wait(10)
        self._process.stdout.close()
        return code

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def ask(client, do, **order):
    """Gives an order to the peer by a client that is connected to it."""
    return client.admin.command({"zavPeer": {"do": do, **order}})
