"""The wire protocol of the GridFS peer: OP_MSG in both directions without copying documents, OP_QUERY by mockupdb."""

import itertools
import socket
import struct

import bson
import mockupdb

MAX_MESSAGE = 48_000_000
OP_QUERY, OP_MSG = 2004, 2013
_HEADER = struct.Struct("<iiii")
_INT32 = struct.Struct("<i")
_MORE_TO_COME = 2
_MOST_BUFFERS = 512
_reply_ids = itertools.count(1)


class Closed(Exception):
    """The client has closed the connection, or sent what no client sends."""


class Message:
    """A request: the command document and its document sequences, these as raw documents."""

    def __init__(self, opcode, request_id, command, sequences, answered):
        self.opcode = opcode
        self.request_id = request_id
        self.command = command
        self.sequences = sequences
        self.answered = answered

    @property
    def name(self):
        return next(iter(self.command))

    def documents(self, name):
        """The raw documents of a sequence, wherever the client has put them."""
        if name in self.sequences:
            return self.sequences[name]
        return [bson.encode(document) for document in self.command.get(name, [])]


def _received(connection, size):
    if size == 0:
        return b""
    if isinstance(connection, socket.socket) and not hasattr(connection, "cipher"):
        data = connection.recv(size, socket.MSG_WAITALL)
        if len(data) != size:
            raise Closed
        return data
    data = bytearray(size)
    view, done = memoryview(data), 0
    while done < size:
        count = connection.recv_into(view[done:])
        if count == 0:
            raise Closed
        done += count
    return data


def receive(connection):
    """The next request of a connection."""
    size, request_id, _, opcode = _HEADER.unpack(_received(connection, _HEADER.size))
    if not _HEADER.size <= size <= MAX_MESSAGE:
        raise Closed
    body = _received(connection, size - _HEADER.size)
    if opcode == OP_MSG:
        return _op_msg(body, request_id)
    if opcode != OP_QUERY:
        raise Closed
    query = mockupdb.OpQuery.unpack(bytes(body), None, None, request_id)
    command = dict(query.doc)
    command.setdefault("$db", query.namespace.split(".")[0])
    return Message(opcode, request_id, command, {}, True)


def _op_msg(body, request_id):
    (flags,) = _INT32.unpack_from(body)
    view, position = memoryview(body), 4
    end = len(body) - (4 if flags & 1 else 0)
    command, sequences = {}, {}
    while position < end:
        kind = body[position]
        (size,) = _INT32.unpack_from(body, position + 1)
        section = view[position + 1 : position + 1 + size]
        if kind == 0:
            command = bson.decode(section)
        else:
            name_end = body.index(b"\x00", position + 5)
            sequences[bytes(body[position + 5 : name_end]).decode()] = _split(view, name_end + 1, position + 1 + size)
        position += 1 + size
    return Message(OP_MSG, request_id, command, sequences, not flags & _MORE_TO_COME)


def _split(view, position, end):
    documents = []
    while position < end:
        (size,) = _INT32.unpack_from(view, position)
        documents.append(view[position : position + size])
        position += size
    return documents


def batch_reply(namespace, cursor, name, documents):
    """The buffers of a cursor's reply; documents are raw and are not copied."""
    parts, size = [], 5
    for number, raw in enumerate(documents):
        label = b"\x03%d\x00" % number
        parts += (label, raw)
        size += len(label) + len(raw)
    rest = bson.encode({"id": bson.Int64(cursor), "ns": namespace})[4:]
    label = b"\x04" + name.encode() + b"\x00"
    inner = 4 + len(label) + size + len(rest)
    outer = b"\x03cursor\x00"
    tail = bson.encode({"ok": 1.0})[4:]
    head = _INT32.pack(4 + len(outer) + inner + len(tail)) + outer + _INT32.pack(inner) + label + _INT32.pack(size)
    return [head, *parts, b"\x00" + rest + tail]


def send(connection, message, reply):
    """Answers a request with a document, or with the buffers of one."""
    if not message.answered:
        return
    if message.opcode == OP_QUERY:
        answer = mockupdb.OpReply(reply)
        answer.update(ok=reply.get("ok", 1))
        connection.sendall(answer.reply_bytes(mockupdb.OpQuery(request_id=message.request_id)))
        return
    buffers = [bson.encode(reply)] if isinstance(reply, dict) else reply
    size = _HEADER.size + 5 + sum(map(len, buffers))
    head = _HEADER.pack(size, next(_reply_ids) & 0x7FFFFFFF, message.request_id, OP_MSG) + b"\x00" * 5
    _send_all(connection, [head, *buffers])


def _send_all(connection, buffers):
    if hasattr(connection, "cipher"):
        connection.sendall(b"".join(buffers))
        return
    views, first = [memoryview(buffer) for buffer in buffers], 0
    while first < len(views):
        sent = connection.sendmsg(views[first : first + _MOST_BUFFERS])
        while first < len(views) and sent >= len(views[first]):
            sent -= len(views[first])
            first += 1
        if sent:
            views[first] = views[first][sent:]
