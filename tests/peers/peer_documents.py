"""Documents of the GridFS peer: raw BSON with a decoded head, and the query language over them."""

import datetime
import re
import struct

import bson
from bson import Binary, ObjectId

_INT32 = struct.Struct("<i")
_FIXED_SIZES = {0x01: 8, 0x06: 0, 0x07: 12, 0x08: 1, 0x09: 8, 0x0A: 0, 0x10: 4, 0x11: 8, 0x12: 8, 0x13: 16}
_SMALL = 2048
MISSING = object()


class Refused(Exception):
    """A command, or one statement of it, that the server refuses."""

    def __init__(self, code, message, name="", **details):
        super().__init__(message)
        self.code = code
        self.name = name or "Location%d" % code
        self.details = details


def _value_end(raw, kind, start):
    if kind in _FIXED_SIZES:
        return start + _FIXED_SIZES[kind]
    (size,) = _INT32.unpack_from(raw, start)
    if kind == 0x02:
        return start + 4 + size
    if kind in (0x03, 0x04):
        return start + size
    if kind == 0x05:
        return start + 5 + size
    raise Refused(22, "element of kind 0x%02x in a long document" % kind, "InvalidBSON")


def _name_end(raw, start):
    end = start
    while raw[end]:
        end += 1
    return end + 1


def _head_of(raw):
    """The document without its long binary values, which stay where they are."""
    if len(raw) <= _SMALL:
        return bson.decode(raw)
    kept, position, end = [], 4, len(raw) - 1
    while position < end:
        kind = raw[position]
        after = _value_end(raw, kind, _name_end(raw, position + 1))
        if kind != 0x05 or after - position <= _SMALL:
            kept.append(raw[position:after])
        position = after
    body = b"".join(kept)
    return bson.decode(_INT32.pack(len(body) + 5) + body + b"\x00")


class Stored:
    """One document: its bytes as they came, and what can be asked of it without copying binary data."""

    __slots__ = ("raw", "head")

    def __init__(self, raw):
        self.raw = raw
        self.head = _head_of(raw)

    @classmethod
    def of(cls, document):
        return cls(bson.encode(document))

    def whole(self):
        return bson.decode(self.raw)

    def with_id(self):
        """The document with an identifier in front where it had none."""
        if "_id" in self.head:
            return self
        return Stored.of({"_id": ObjectId(), **self.whole()})


def hashable(value):
    if isinstance(value, dict):
        return ("object",) + tuple((key, hashable(item)) for key, item in value.items())
    if isinstance(value, list):
        return ("array",) + tuple(hashable(item) for item in value)
    return value


def field(document, path, default=None):
    """The value at a dotted path."""
    for part in path.split("."):
        if not isinstance(document, dict) or part not in document:
            return default
        document = document[part]
    return document


_ORDER = ((int, float), (str,), (dict,), (list,), (bytes, Binary), (ObjectId,), (bool,), (datetime.datetime,))


def _rank(value):
    if value is None:
        return 0
    if isinstance(value, bool):
        return 7
    return next((number for number, kinds in enumerate(_ORDER, 1) if isinstance(value, kinds)), 99)


def sort_key(value):
    rank = _rank(value)
    return (rank, str(value)) if rank in (3, 4, 99) else (rank, value if rank else 0)


def _compared(test):
    return lambda value, wanted: (
        value is not MISSING and _rank(value) == _rank(wanted) and test(sort_key(value), sort_key(wanted))
    )


def _equals(value, wanted):
    if value is MISSING:
        return wanted is None
    return _rank(value) == _rank(wanted) and value == wanted


def _regex(value, wanted):
    pattern = wanted.try_compile() if isinstance(wanted, bson.Regex) else re.compile(wanted)
    return isinstance(value, str) and pattern.search(value) is not None


_TYPE_NUMBERS = {"double": 1, "string": 2, "object": 3, "array": 4, "binData": 5, "objectId": 7, "bool": 8, "int": 16}
_TYPES = {1: float, 2: str, 3: dict, 4: list, 5: bytes, 7: ObjectId, 8: bool, 9: datetime.datetime}


def _number_of_type(value):
    if isinstance(value, int) and not isinstance(value, bool):
        return 18 if isinstance(value, bson.Int64) else 16
    return next((number for number, kind in _TYPES.items() if isinstance(value, kind)), 10 if value is None else 0)


def _has_type(value, wanted):
    number = _TYPE_NUMBERS.get(wanted, wanted)
    if not isinstance(number, int):
        raise Refused(2, "Unknown type name alias: %s" % wanted, "BadValue")
    return value is not MISSING and _number_of_type(value) == number


_OPERATORS = {
    "$eq": _equals,
    "$ne": lambda value, wanted: not _equals(value, wanted),
    "$gt": _compared(lambda left, right: left > right),
    "$gte": _compared(lambda left, right: left >= right),
    "$lt": _compared(lambda left, right: left < right),
    "$lte": _compared(lambda left, right: left <= right),
    "$in": lambda value, wanted: any(_equals(value, item) for item in wanted),
    "$nin": lambda value, wanted: not any(_equals(value, item) for item in wanted),
    "$exists": lambda value, wanted: (value is not MISSING) == bool(wanted),
    "$regex": _regex,
    "$type": _has_type,
    "$not": lambda value, wanted: not _holds(value, wanted),
}


def is_operators(condition):
    return isinstance(condition, dict) and bool(condition) and all(key.startswith("$") for key in condition)


def equal_to(condition, name):
    """The one value that a filter wants a field to have, or MISSING."""
    wanted = condition.get(name, MISSING)
    if not is_operators(wanted):
        return wanted
    return wanted["$eq"] if set(wanted) == {"$eq"} else MISSING


def _holds(value, condition):
    if not is_operators(condition):
        return _equals(value, condition)
    unknown = [name for name in condition if name not in _OPERATORS]
    if unknown:
        raise Refused(2, "unknown operator: " + unknown[0], "BadValue")
    return all(_OPERATORS[name](value, wanted) for name, wanted in condition.items())


def matches(document, condition):
    """Whether a decoded document answers a filter."""
    for name, wanted in condition.items():
        if name == "$and":
            held = all(matches(document, part) for part in wanted)
        elif name in ("$or", "$nor"):
            held = any(matches(document, part) for part in wanted) == (name == "$or")
        elif name.startswith("$"):
            raise Refused(2, "unknown top level operator: " + name, "BadValue")
        else:
            held = _holds(field(document, name, MISSING), wanted)
        if not held:
            return False
    return True


def needs_whole(condition):
    """Whether a filter asks for a value that a head leaves out."""
    return "data" in str(condition)


def projected(stored, projection):
    """The raw bytes of what a projection leaves of a document."""
    if not projection:
        return stored.raw
    included = {name for name, wanted in projection.items() if wanted and name != "_id"}
    with_id = bool(projection.get("_id", True))
    if not included and all(not wanted for wanted in projection.values()):
        source = stored.head if "data" in projection else stored.whole()
        return bson.encode({name: value for name, value in source.items() if name not in projection})
    source = stored.whole() if "data" in included else stored.head
    tops = {name.split(".")[0] for name in included} | ({"_id"} if with_id else set())
    return bson.encode({name: value for name, value in source.items() if name in tops})


def updated(document, change):
    """The document after an update document."""
    if not is_operators(change):
        return {"_id": document["_id"], **change} if "_id" in document else dict(change)
    result = dict(document)
    for operator, fields in change.items():
        for path, value in fields.items():
            _change_field(result, operator, path, value)
    return result


def _change_field(document, operator, path, value):
    *parents, last = path.split(".")
    for part in parents:
        inner = document.get(part, {})
        if not isinstance(inner, dict):
            if operator == "$unset":
                return
            raise Refused(28, "Cannot create field '%s' in element {%s: %r}" % (last, part, inner), "PathNotViable")
        if part not in document and operator == "$unset":
            return
        document[part] = dict(inner)
        document = document[part]
    if operator == "$set":
        document[last] = value
    elif operator == "$unset":
        document.pop(last, None)
    elif operator == "$inc":
        document[last] = document.get(last, 0) + value
    elif operator != "$setOnInsert":
        raise Refused(9, "unknown modifier: " + operator, "FailedToParse")
