"""What the GridFS peer keeps: databases, collections, indexes and cursors, all in dictionaries."""

import itertools

from peer_documents import MISSING, Refused, Stored, equal_to, field, hashable, matches, needs_whole, sort_key

MAX_DOCUMENT = 16 * 1024 * 1024
_LOOKED_UP = ("files_id", "filename")


class Index:
    """A declared index; a unique one holds the keys that are taken."""

    def __init__(self, options):
        self.options = options
        self.fields = list(options["key"])
        self.unique = bool(options.get("unique"))
        self.partial = options.get("partialFilterExpression")
        self.taken = {}

    def key_of(self, stored):
        """The key of a document, or None where the index does not hold it."""
        if self.partial is not None and not matches(stored.head, self.partial):
            return None
        return tuple(hashable(field(stored.head, name)) for name in self.fields)

    def wanted_key(self, condition):
        """The key that a filter asks for, where it gives every field of a complete unique index."""
        if not self.unique or self.partial is not None:
            return None
        wanted = [equal_to(condition, name) for name in self.fields]
        return None if MISSING in wanted else tuple(map(hashable, wanted))

    def found_in_range(self, condition):
        """The documents of a unique index over two fields that a filter asks for by one value and by a range of whole
        numbers, as GridFS asks for the chunks of a file; None where it does not."""
        if not self.unique or self.partial is not None or len(self.fields) != 2:
            return None
        first, numbers = equal_to(condition, self.fields[0]), condition.get(self.fields[1])
        if first is MISSING or not isinstance(numbers, dict) or set(numbers) != {"$gte", "$lt"}:
            return None
        if not all(isinstance(bound, int) for bound in numbers.values()):
            return None
        keys = ((hashable(first), number) for number in range(numbers["$gte"], numbers["$lt"]))
        return [self.taken[key] for key in keys if key in self.taken]

    def conflict(self, stored):
        key = self.key_of(stored) if self.unique else None
        return key is not None and self.taken.get(key, stored) is not stored

    def add(self, stored):
        key = self.key_of(stored) if self.unique else None
        if key is not None:
            self.taken[key] = stored

    def remove(self, stored):
        key = self.key_of(stored) if self.unique else None
        if key is not None and self.taken.get(key) is stored:
            del self.taken[key]


class Collection:
    """Documents by identifier, with the lookups that GridFS needs."""

    def __init__(self, namespace):
        self.namespace = namespace
        self.by_id = {}
        self.lookups = {name: {} for name in _LOOKED_UP}
        self.indexes = {"_id_": Index({"v": 2, "key": {"_id": 1}, "name": "_id_"})}

    @property
    def holds_chunks(self):
        return self.namespace.endswith(".chunks")

    @property
    def holds_files(self):
        return self.namespace.endswith(".files")

    def insert(self, stored):
        if len(stored.raw) > MAX_DOCUMENT:
            raise Refused(
                10334, "object to insert too large. size in bytes: %d, max size: %d" % (len(stored.raw), MAX_DOCUMENT)
            )
        stored = stored.with_id()
        if hashable(stored.head["_id"]) in self.by_id:
            raise self._duplicate(self.indexes["_id_"], stored)
        self._refuse_conflict(stored)
        self._add(stored)

    def replace(self, old, document):
        new = Stored.of(document)
        self._take_out(old)
        try:
            self._refuse_conflict(new)
        except Refused:
            self._add(old)
            raise
        self._add(new)

    def remove(self, stored):
        self._take_out(stored)

    def find(self, condition):
        """The documents that answer a filter, in the order of their insertion."""
        whole = needs_whole(condition)
        return [
            stored
            for stored in self._candidates(condition)
            if matches(stored.whole() if whole else stored.head, condition)
        ]

    def create_index(self, options):
        if options["name"] in self.indexes:
            return
        index = Index(options)
        for stored in self.by_id.values():
            if index.conflict(stored):
                raise self._duplicate(index, stored)
            index.add(stored)
        self.indexes[options["name"]] = index

    def _candidates(self, condition):
        wanted = equal_to(condition, "_id")
        if wanted is not MISSING:
            found = self.by_id.get(hashable(wanted))
            return [] if found is None else [found]
        for index in self.indexes.values():
            key = index.wanted_key(condition)
            if key is not None:
                return [index.taken[key]] if key in index.taken else []
            found = index.found_in_range(condition)
            if found is not None:
                return found
        for name, lookup in self.lookups.items():
            wanted = equal_to(condition, name)
            if wanted is not MISSING and wanted is not None:
                return list(lookup.get(hashable(wanted), {}).values())
        return list(self.by_id.values())

    def _refuse_conflict(self, stored):
        for index in self.indexes.values():
            if index.conflict(stored):
                raise self._duplicate(index, stored)

    def _duplicate(self, index, stored):
        key = {name: field(stored.head, name) for name in index.fields}
        text = "E11000 duplicate key error collection: %s index: %s dup key: %s"
        return Refused(
            11000,
            text % (self.namespace, index.options["name"], key),
            "DuplicateKey",
            keyPattern=index.options["key"],
            keyValue=key,
        )

    def _add(self, stored):
        identifier = hashable(stored.head["_id"])
        self.by_id[identifier] = stored
        for index in self.indexes.values():
            index.add(stored)
        for name, lookup in self.lookups.items():
            if name in stored.head:
                lookup.setdefault(hashable(stored.head[name]), {})[identifier] = stored

    def _take_out(self, stored):
        identifier = hashable(stored.head["_id"])
        del self.by_id[identifier]
        for index in self.indexes.values():
            index.remove(stored)
        for name, lookup in self.lookups.items():
            if name in stored.head:
                same = lookup[hashable(stored.head[name])]
                del same[identifier]
                if not same:
                    del lookup[hashable(stored.head[name])]


def sorted_documents(found, order):
    for name, direction in reversed(list((order or {}).items())):
        found = sorted(found, key=lambda stored: sort_key(field(stored.head, name)), reverse=direction < 0)
    return found


class Data:
    """All collections by namespace, and the open cursors."""

    def __init__(self):
        self.collections = {}
        self.cursors = {}
        self._cursor_ids = itertools.count(1_000_001)

    def existing(self, namespace):
        """The collection, or an empty one that is not kept."""
        return self.collections.get(namespace) or Collection(namespace)

    def made(self, namespace):
        if namespace not in self.collections:
            self.collections[namespace] = Collection(namespace)
        return self.collections[namespace]

    def new_cursor(self):
        return next(self._cursor_ids)

    def buckets(self):
        """(prefix, files, chunks) of every GridFS bucket."""
        names = {name.rsplit(".", 1)[0] for name in self.collections if name.endswith((".files", ".chunks"))}
        return [(name, self.existing(name + ".files"), self.existing(name + ".chunks")) for name in sorted(names)]
