# SPDX-License-Identifier: MIT
"""Reads a page of `qel view` without a browser: its header, and its arrays unpacked as docs/tool.md describes."""

import base64
import json
import re
import zlib


def unfolded(plain, width, stride, count):
    """Bytes are stored in planes, the components of an element one after the other, numbers as differences with folded sign."""
    if stride == 0:
        return [int.from_bytes(plain[i * width:(i + 1) * width], "little") for i in range(count)]
    folded = [sum(plain[plane * count + i] << 8 * plane for plane in range(width)) for i in range(count)]
    numbers, at, size = [0] * count, 0, 1 << 8 * width
    for part in range(stride):
        before = 0
        for i in range(part, count, stride):
            step = folded[at] >> 1 ^ -(folded[at] & 1)
            before = numbers[i] = (before + step) % size
            at += 1
    return numbers


class Page:
    def __init__(self, text):
        self.header = json.loads(re.search(r'<script type="application/json" id="header">(.*?)</script>', text, re.S)[1])
        self.pieces = re.findall(r'<script type="text/plain" class="piece" data-name="([a-z 0-9]+)">([A-Za-z0-9+/=]*)</script>', text)
        self.blocks = {block["name"]: block for block in self.header["blocks"]}

    def array(self, name):
        block = self.blocks[name]
        packed = b"".join(base64.b64decode(text) for piece, text in self.pieces if piece == name)
        assert len(packed) == block["bytes"], name
        plain = zlib.decompress(packed) if block["deflated"] else packed
        assert len(plain) == block["count"] * block["width"], name
        return unfolded(plain, block["width"], block["stride"], block["count"])

    def positions(self):
        """As triples, of all meshes."""
        steps, triples, at = self.array("positions"), [], 0
        for mesh in self.header["meshes"]:
            for _ in range(mesh["vertices"]):
                triples.append(tuple(low + steps[at + axis] / 65535 * (high - low)
                                     for axis, (low, high) in enumerate(zip(mesh["low"], mesh["high"]))))
                at += 3
        return triples
