#!/usr/bin/python3
"""A server for tests of GridFS clients: speaks the wire protocol, keeps everything in memory, and fails on order.

Listens on 127.0.0.1 and prints "port N" and "control N". Ends when its standard input is closed, or on SIGTERM.

Orders are JSON objects, one a line, on the control port, or an admin command {zavPeer: order} on the other one:
  {"do": "plan", "plans": [{"action": ACTION, "at": PLACE, "n": 1, "times": 1, "after": false}]}
  {"do": "counters"} {"do": "check"} {"do": "files"} {"do": "reset"}
  {"do": "refuse"} {"do": "listen"} {"do": "hangup"}
  {"do": "damage", "filename": NAME, "n": 0, "how": HOW}
  {"do": "setFile", "filename": NAME, "values": {"length": 7}}
A plan begins to count when it is ordered; times 0 means for ever; after: drop or stall once the write is done.
"""

import argparse
import contextlib
import json
import os
import socket
import ssl
import sys
import threading

import peer_control
import peer_faults
import peer_wire
from peer_commands import COMMANDS, HANDSHAKES, WITHOUT_LOGIN
from peer_data import Data
from peer_documents import Refused
from peer_writes import Hangup, Silence, act

_OWN_PLACES = HANDSHAKES + ("zavPeer",)


class Connection:
    """What the server knows of one client."""

    def __init__(self, link):
        self.link = link
        self.scram = None
        self.logged_in = False


class Server:
    """Data, faults and counters behind one listening port."""

    def __init__(self, replica_set="", login=None, tls=None, port=0):
        self.replica_set = replica_set
        self.login = login
        self.port = port
        self.connections = set()
        self._tls = tls
        self._listener = None
        self._lock = threading.RLock()
        self.reset()
        self.listen()

    def reset(self):
        self.data = Data()
        self.retries = {}
        self.faults = peer_faults.Faults()
        self.counters = peer_faults.Counters()

    def listen(self):
        if self._listener is not None:
            return
        self._listener = listener(self.port)
        self.port = self._listener.getsockname()[1]
        accept_all(self._listener, self._serve)

    def stop_listening(self):
        """Closes the listening port and every connection, as a server does that goes away."""
        if self._listener is not None:
            with contextlib.suppress(OSError):
                self._listener.shutdown(socket.SHUT_RDWR)
            self._listener.close()
            self._listener = None
        self.hang_up()

    def hang_up(self):
        for connection in list(self.connections):
            with contextlib.suppress(OSError):
                connection.link.shutdown(socket.SHUT_RDWR)

    def control(self, request):
        with self._lock:
            return peer_control.control(self, request)

    @staticmethod
    def namespace(command):
        name = command["collection"] if "getMore" in command else next(iter(command.values()))
        return "%s.%s" % (command["$db"], name)

    def _serve(self, link):
        connection = Connection(link)
        self.counters.connections += 1
        self.connections.add(connection)
        try:
            if self._tls is not None:
                connection.link = link = self._tls.wrap_socket(link, server_side=True)
            while True:
                message = peer_wire.receive(link)
                message.connection = connection
                with self._lock:
                    reply = self._answer(message)
                peer_wire.send(link, message, reply)
        except (Hangup, peer_wire.Closed, OSError):
            pass
        except Silence:
            wait_for_end(link)
        finally:
            self.connections.discard(connection)
            link.close()

    def _answer(self, message):
        self.counters.commands[message.name] += 1
        try:
            if message.name in HANDSHAKES:
                return self._faulty(message, "handshake")
            if message.name in _OWN_PLACES:
                return self._carried_out(message)
            return self._faulty(message, "any", message.name)
        except Refused as refused:
            name = {"codeName": refused.name, **refused.details}
            return {"ok": 0.0, "errmsg": str(refused), "code": refused.code, **name}

    def _faulty(self, message, *places):
        plans = [plan for plan, _ in map(self.faults.hit, places) if plan is not None]
        if not plans:
            return self._carried_out(message)
        plan = plans[0]
        if plan.after or plan.action == "wcerror":
            reply = self._carried_out(message)
            act(self, plan)
            return {**reply, "writeConcernError": plan.concern_error()}
        act(self, plan)
        return plan.command_error()

    def _carried_out(self, message):
        if message.name not in COMMANDS:
            raise Refused(59, "no such command: '%s'" % message.name, "CommandNotFound")
        if self.login and not message.connection.logged_in and message.name not in WITHOUT_LOGIN:
            raise Refused(13, "command %s requires authentication" % message.name, "Unauthorized")
        return COMMANDS[message.name](self, message)


def listener(port=0):
    link = socket.socket()
    link.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    link.bind(("127.0.0.1", port))
    link.listen(64)
    return link


def accept_all(listening, serve):
    """Serves every connection of a listening socket, each in a thread of its own, until it is closed."""

    def loop():
        with contextlib.suppress(OSError):
            while True:
                link, _ = listening.accept()
                link.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
                threading.Thread(target=serve, args=(link,), daemon=True).start()

    threading.Thread(target=loop, daemon=True).start()


def wait_for_end(link):
    with contextlib.suppress(OSError):
        while link.recv(65536):
            pass


def serve_orders(server, link):
    with link, link.makefile("r", encoding="utf-8") as lines:
        for line in lines:
            try:
                answer = server.control(json.loads(line))
            except Exception as refusal:
                answer = {"error": "%s: %s" % (type(refusal).__name__, refusal)}
            link.sendall(json.dumps(answer).encode() + b"\n")


def parsed(arguments):
    parser = argparse.ArgumentParser(
        description=__doc__,
        formatter_class=argparse.RawDescriptionHelpFormatter,
        epilog="ACTION: %s. PLACE: %s. HOW: %s."
        % (", ".join(peer_faults.ACTIONS), peer_faults.PLACES, ", ".join(peer_control.DAMAGES)),
    )
    parser.add_argument("--port", type=int, default=0, help="port to listen on; 0, the default: any free one")
    parser.add_argument("--replica-set", default="", metavar="NAME", help="be the primary of this replica set")
    parser.add_argument("--tls-certificate", metavar="FILE", help="speak TLS, with this certificate")
    parser.add_argument("--tls-key", metavar="FILE", help="key of the certificate, where it is in another file")
    parser.add_argument("--user", help="want a login (SCRAM-SHA-256) with the password of $ZAV_PEER_PASSWORD")
    return parser.parse_args(arguments)


def main(arguments):
    options = parsed(arguments)
    tls = None
    if options.tls_certificate:
        tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        tls.load_cert_chain(options.tls_certificate, options.tls_key)
    login = (options.user, os.environ["ZAV_PEER_PASSWORD"]) if options.user else None
    server = Server(options.replica_set, login, tls, options.port)
    orders = listener()
    accept_all(orders, lambda link: serve_orders(server, link))
    print("port %d\ncontrol %d" % (server.port, orders.getsockname()[1]), flush=True)
    while sys.stdin.buffer.read(65536):
        pass
    sys.stdout.flush()
    os._exit(0)


if __name__ == "__main__":
    main(sys.argv[1:])
