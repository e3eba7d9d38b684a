"""What gdb shows of zoeavl: trees and indexes as their records in order, and the commands
`zoeavl walk`, `zoeavl check` and `zoeavl node`. Memory alone is read, no function of the program is
called, so that all of it works in a core file too."""

import itertools
import re
import struct

import gdb
import gdb.printing
import gdb.types

BALANCE, THREAD, TAGS = 1, 2, 3
LEFT, RIGHT = 0, 1
DEEPEST = 90  # levels; no tree has more
UNCOUNTED = 2**64 - 1  # what an index holds for its size after a cut
SHOWN = 200  # records of a tree that is printed without a limit of gdb's own

# Offsets of the tree object and of its root.
NAME, HEAD, KEYOFF, ADDER, OPTABLE = 8, 24, 32, 48, 208


def bytes_at(address, size):
    return gdb.selected_inferior().read_memory(address, size).tobytes()


def number(layout, address):
    return struct.unpack('<' + layout, bytes_at(address, struct.calcsize(layout)))[0]


def words(node):
    return struct.unpack('<QQ', bytes_at(node, 16))


def outermost(node, side):
    for _ in range(DEEPEST):
        link = words(node)[side]
        if link & THREAD:
            return node
        node = link & ~TAGS
    raise gdb.GdbError('zoeavl: the links below %#x lead on without an end' % node)


def neighbour(node, side):
    link = words(node)[side]
    return link & ~TAGS if link & THREAD else outermost(link & ~TAGS, 1 - side)


def in_order(head):
    """The records from the first on. Ends by itself on links that run in a circle."""
    node, met = outermost(head, LEFT) if head else 0, set()
    while node and node not in met:
        met.add(node)
        yield node
        node = neighbour(node, RIGHT)


# ---- Keys -----------------------------------------------------------------------------------------


def missing(bits):
    """A double with missing values, as something that sorts as it does."""
    value = struct.unpack('<d', struct.pack('<Q', bits))[0]
    code = -(bits >> 40) & 0xFF
    return (1, value) if value == value else (0, code if 1 <= code <= 28 else 2)


def reader_of(table):
    """Gives a function from the address of a key field and the length to the key as something that
    sorts as the tree does; None for keys that only the program can read."""
    name = table[2:]
    behind = name.endswith('p')
    name = name[:-1] if behind else name
    integers = {'i32': 'i', 'i64': 'q', 'u32': 'I', 'u64': 'Q'}
    if name in ('vchar', 'vzochar'):
        def read(at, _):
            chars, count = struct.unpack('<QI', bytes_at(at, 12))
            if name == 'vchar':
                return bytes_at(chars, count) if count else b''
            return struct.unpack('<%di' % count, bytes_at(chars, 4 * count)) if count else ()
    elif name == 'char':
        read = bytes_at
    elif name == 'zochar':
        def read(at, count):
            return struct.unpack('<%di' % count, bytes_at(at, 4 * count))
    elif name in integers:
        def read(at, _):
            return number(integers[name], at)
    elif name[:1] + name[2:] in integers and name[1:2] == 'a':
        def read(at, count):
            one = integers[name[:1] + name[2:]]
            return struct.unpack('<%d%s' % (count, one), bytes_at(at, count * struct.calcsize(one)))
    elif name == 'dbl':
        def read(at, _):
            return number('d', at)
    elif name == 'mdbl':
        def read(at, _):
            return missing(number('Q', at))
    else:
        return None
    return (lambda at, count: read(number('Q', at), count)) if behind else read


def symbol_at(address):
    """The name of what starts there, from the symbols of the loader."""
    told = gdb.execute('info symbol %#x' % address, to_string=True).split()
    return told[0] if told[1:2] in (['in'], ['section']) else ''


class Tree:
    """A tree object, read without its type."""

    def __init__(self, address):
        if bytes_at(address, 4) != b'nevo':
            raise gdb.GdbError('zoeavl: %#x is no tree; was it destroyed?' % address)
        self.address = address
        self.head = number('Q', address + HEAD)
        self.keyoff, self.keylen = struct.unpack('<ii', bytes_at(address + KEYOFF, 8))
        self.locked = number('Q', address + KEYOFF + 8) != 0
        zero_length = symbol_at(number('Q', address + ADDER)) == 'ZOEAVLZeroAdd'
        table = number('Q', address + OPTABLE)
        self.table = ('keys of length 0' if zero_length
                      else symbol_at(table) or 'own operations' if table else 'generated')
        self.read = reader_of(self.table) if self.table.startswith('cb') else None

    def key(self, node):
        return self.read(node + self.keyoff, self.keylen)

    def shown(self, node):
        return self.key(node) if self.read else ''

    def __str__(self):
        return '%s, key at %d, length %d, %s' % (self.table, self.keyoff, self.keylen,
                                                 'with a lock' if self.locked else 'no lock')


# ---- Printers -------------------------------------------------------------------------------------


INDEX = r'^zoe::([a-z0-9_]+::)?basic_index<.*>$'


def shown(records, size_word):
    """A summary and the first records."""
    limit = gdb.parameter('print elements') or SHOWN
    first = list(itertools.islice(records, limit + 1))
    return first[:limit], size_word if size_word is not None else (
        '%d records' % len(first) if len(first) <= limit else 'more than %d records' % limit)


class TreePrinter:
    """A ZOEAVLTree."""

    def __init__(self, value):
        self.tree = None
        try:
            self.tree = Tree(int(value.address))
            self.records, self.size = shown(in_order(self.tree.head), None)
        except (gdb.MemoryError, gdb.GdbError) as error:
            self.trouble = str(error)

    def to_string(self):
        if self.tree is None or not hasattr(self, 'records'):
            return self.trouble
        return 'zoeavl tree (%s), %s' % (self.tree, self.size)

    def children(self):
        for node in getattr(self, 'records', []):
            key = ' key %s' % (self.tree.key(node),) if self.tree.read else ''
            yield '%#x' % node, 'record%s' % key


class Index:
    """A zoe::index or zoe::index_on, of which the debugger knows the records' type, not their order."""

    read = None

    def __init__(self, value):
        self.head = int(value['root'])
        hook = value.type.strip_typedefs().template_argument(0)
        argument = hook.template_argument(0)
        if isinstance(argument, gdb.Type):
            self.record = argument
            self.offset = self.offset_among_bases(argument)
        else:
            self.record = gdb.lookup_type(re.search(r'[( ]([^( ]+)::\*', str(argument.type)).group(1))
            self.offset = int(argument.cast(gdb.lookup_type('long')))

    def offset_among_bases(self, kind):
        """Where the links stand, in bytes; None if they stand in no base."""
        if kind.strip_typedefs().name == 'ZOEAVLNODE':
            return 0
        for field in kind.strip_typedefs().fields():
            deeper = self.offset_among_bases(field.type) if field.is_base_class else None
            if deeper is not None:
                return deeper + field.bitpos // 8
        return None

    def shown(self, node):
        return gdb.Value(node - self.offset).cast(self.record.pointer()).dereference()


class IndexPrinter:
    """An index."""

    def __init__(self, value):
        self.index = Index(value)
        try:
            known = int(value['records']['_M_i'])
            self.records, self.size = shown(in_order(self.index.head),
                                            '%d records' % known if known < UNCOUNTED else None)
        except (gdb.MemoryError, gdb.GdbError) as error:
            self.records, self.size = [], str(error)

    def to_string(self):
        return 'zoeavl index of %s, %s' % (self.index.record, self.size)

    def children(self):
        for place, node in enumerate(self.records):
            yield '[%d]' % place, self.index.shown(node)

    def display_hint(self):
        return 'array'


def printers():
    collection = gdb.printing.RegexpCollectionPrettyPrinter('zoeavl')
    collection.add_printer('tree', '^ZOEAVLTree$', TreePrinter)
    collection.add_printer('index', INDEX, IndexPrinter)
    return collection


# ---- Commands -------------------------------------------------------------------------------------


class Prefix(gdb.Command):
    """Looks into zoeavl trees: walk, check, node."""

    def __init__(self):
        super().__init__('zoeavl', gdb.COMMAND_DATA, gdb.COMPLETE_NONE, True)


def address_of(value):
    pointed = value.type.strip_typedefs().code
    return int(value.address if pointed == gdb.TYPE_CODE_STRUCT else value)


def looked_into(expression):
    """The tree or index that it names."""
    value = gdb.parse_and_eval(expression)
    if re.match(INDEX, gdb.types.get_basic_type(value.type).tag or ''):
        return Index(value)
    return Tree(address_of(value))


def parts_of(argument):
    """The tree, and what follows `as` and `from`."""
    parts = re.split(r'\s+(as|from)\s+', argument)
    return parts[0], dict(zip(parts[1::2], parts[2::2]))



class Walk(gdb.Command):
    """Lists the records of a tree or index in order: zoeavl walk TREE [as TYPE] [from KEY]
With TYPE each is printed as one; from KEY on, a value that reads like the tree's keys."""

    def __init__(self):
        super().__init__('zoeavl walk', gdb.COMMAND_DATA, gdb.COMPLETE_EXPRESSION)

    def invoke(self, argument, _):
        expression, parts = parts_of(argument)
        tree = looked_into(expression)
        kind = gdb.lookup_type(parts['as']).pointer() if 'as' in parts else None
        low = self.key(tree, parts['from']) if 'from' in parts else None
        for node in in_order(tree.head):
            if low is not None and tree.key(node) < low:
                continue
            print('%#x %s' % (node, gdb.Value(node).cast(kind).dereference() if kind else tree.shown(node)))

    @staticmethod
    def key(tree, expression):
        if tree.read is None:
            raise gdb.GdbError('zoeavl: only the program can read these keys')
        value = gdb.parse_and_eval(expression)
        code = value.type.strip_typedefs().code
        if code in (gdb.TYPE_CODE_ARRAY, gdb.TYPE_CODE_PTR):
            return value.string('latin-1').encode('latin-1')
        plain = float(value) if code == gdb.TYPE_CODE_FLT or 'dbl' in tree.table else int(value)
        return (1, plain) if 'mdbl' in tree.table else plain


class Check(gdb.Command):
    """Checks links and heights of a tree or index, and the order of built-in key types: zoeavl check TREE"""

    def __init__(self):
        super().__init__('zoeavl check', gdb.COMMAND_DATA, gdb.COMPLETE_EXPRESSION)

    def invoke(self, argument, _):
        tree = looked_into(argument)
        self.faults, self.order, self.met = 0, [], set()
        if tree.head:
            self.visit(tree.head, 1)
        for place, node in enumerate(self.order):
            around = [self.order[place - 1] if place else 0,
                      self.order[place + 1] if place + 1 < len(self.order) else 0]
            for side, link in enumerate(words(node)):
                if link & THREAD and link != around[side] | THREAD:
                    self.fault(node, '%s thread to %#x, expected %#x' % (
                        ('left', 'right')[side], link & ~TAGS, around[side]))
        if not self.faults and tree.read:
            for before, node in zip(self.order, self.order[1:]):
                if not tree.key(before) < tree.key(node):
                    self.fault(node, "key %s isn't above %s: was it changed in the tree?" % (
                        tree.key(node), tree.key(before)))
        print('%d records, %d faults' % (len(self.order), self.faults))

    def fault(self, node, text):
        self.faults += 1
        print('record %#x: %s' % (node, text))

    def visit(self, node, depth):
        """Gives the height below a node, None if it can't be told."""
        try:
            links = words(node)
        except gdb.MemoryError:
            return self.fault(node, "can't be read: was it freed?")
        if node in self.met or depth > DEEPEST:
            return self.fault(node, 'met twice, or too deep: is it in two trees?')
        self.met.add(node)
        if links == (0, 0):
            return self.fault(node, 'both words are null: this record was removed')
        heights = [0, 0]
        for side in (LEFT, RIGHT):
            if not links[side] & THREAD:
                heights[side] = self.visit(links[side] & ~TAGS, depth + 1)
            if side == LEFT:
                self.order.append(node)
        if None in heights:
            return None
        if heights[RIGHT] - heights[LEFT] != (links[RIGHT] & BALANCE) - (links[LEFT] & BALANCE):
            self.fault(node, 'heights %d and %d, but %s' % (*heights, stand(links)))
        return 1 + max(heights)


def stand(links):
    stands = ('level', 'leans left', 'leans right', 'leans both ways')
    return stands[links[LEFT] & BALANCE | (links[RIGHT] & BALANCE) << 1]


class Node(gdb.Command):
    """Shows the two links of a record in words: zoeavl node ADDRESS"""

    def __init__(self):
        super().__init__('zoeavl node', gdb.COMMAND_DATA, gdb.COMPLETE_EXPRESSION)

    def invoke(self, argument, _):
        node = address_of(gdb.parse_and_eval(argument))
        links = words(node)
        told = ['%s %s %#x' % (side, 'thread to' if link & THREAD else 'child', link & ~TAGS)
                if link & ~TAGS else '%s %s' % (side, 'null thread' if link & THREAD else 'null')
                for side, link in zip(('left', 'right'), links)]
        removed = ' (in no tree)' if links == (0, 0) else ''
        print('%#x: %s, %s%s' % (node, ', '.join(told), stand(links), removed))


gdb.printing.register_pretty_printer(gdb.current_objfile(), printers(), replace=True)
for command in (Prefix, Walk, Check, Node):
    command()
