"""Reply bodies of a hostile server, for the scenario actions random=, bulk= and nest=.

They can be far bigger than anything the simulator should hold in memory, so
each is a `StreamedBody`: its length is known up front (for Content-Length)
and its bytes are made one chunk at a time while the reply is written.  The
same action with the same N always gives the same bytes.
"""

import itertools
import random

CHUNK = 1 << 20

PROLOG = b'<?xml version="1.0" encoding="utf-8" ?>\n<CIM CIMVERSION="2.0" DTDVERSION="2.0">\n'


class StreamedBody:
    """`length` bytes, made by `make()` (an iterator of byte strings) on demand."""

    def __init__(self, length, make):
        self.length = length
        self._make = make

    def __len__(self):
        return self.length

    def chunks(self, limit=None):
        """The bytes in pieces of at most CHUNK, stopping after `limit` bytes if given."""
        left = self.length if limit is None else min(limit, self.length)
        for piece in self._make():
            if left <= 0:
                return
            for start in range(0, len(piece), CHUNK):
                part = piece[start:start + min(CHUNK, left)]
                yield part
                left -= len(part)
                if left <= 0:
                    return

    def head(self, n):
        """The first n bytes, for inspection."""
        return b"".join(self.chunks(n))

    def truncated(self, n):
        """This body cut to its first n bytes."""
        return StreamedBody(min(n, self.length), self._make)


def _repeat(block):
    """Endless copies of `block`, joined into pieces of about CHUNK bytes."""
    piece = block * max(1, CHUNK // len(block))
    return itertools.repeat(piece)


def random_bytes(n):
    """N bytes of a pseudo-random sequence seeded with N."""
    def make():
        rng = random.Random(n)
        while True:
            yield rng.randbytes(CHUNK)
    return StreamedBody(n, make)


def bulk(n):
    """N bytes: the XML declaration and the CIM start tag, then blank lines to the
    end; the MESSAGE element never comes."""
    def make():
        yield PROLOG
        yield from _repeat(b" " * 127 + b"\n")
    return StreamedBody(n, make)


def nested(n, name, intrinsic):
    """A whole reply to `name` whose return value is N VALUE.ARRAY elements, each
    inside the one before."""
    tag, value = (b"IMETHODRESPONSE", b"IRETURNVALUE") if intrinsic else (b"METHODRESPONSE", b"RETURNVALUE")
    escaped = (name.replace("&", "&amp;").replace('"', "&quot;").replace("<", "&lt;")
               .encode("utf-8"))
    head = (PROLOG + b'<MESSAGE ID="1" PROTOCOLVERSION="1.0">\n<SIMPLERSP>\n<' + tag
            + b' NAME="' + escaped + b'">\n<' + value + b">\n")
    tail = (b"</" + value + b">\n</" + tag + b">\n</SIMPLERSP>\n</MESSAGE>\n</CIM>\n")
    opening, closing = b"<VALUE.ARRAY>", b"</VALUE.ARRAY>"

    def runs(block, count):
        per_piece = max(1, CHUNK // len(block))
        while count > 0:
            take = min(count, per_piece)
            yield block * take
            count -= take

    def make():
        yield head
        yield from runs(opening, n)
        yield from runs(closing, n)
        yield tail
    return StreamedBody(len(head) + n * (len(opening) + len(closing)) + len(tail), make)
