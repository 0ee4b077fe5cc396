#!/usr/bin/env python3
"""nextpnr_design: writes a netlist in the JSON form nextpnr reads, whose cells are of the bel
types of an architecture script written by fab_run --nextpnr-arch. Cells are wired as random
fan-in trees: cells are placed on random bels, and each input is driven by an output of a cell
made before it that reaches the input in the routing graph, so that every net has one driver,
the design has no loops and every connection has a route. The seed is fixed unless given.
With --type, every cell is of that type and as many as asked: an unknown type or too many
cells make a design that nextpnr refuses.

usage: nextpnr_design.py [--cells N] [--seed S] [--type T] ARCH.py OUT.json
Prints one summary line: cells, nets and connections written.
Exit status: 0 written, 2 bad argument or file.
"""
import json
import random
import re
import sys
from collections import defaultdict

WIRE = re.compile(r'^\("((?:[^"\\]|\\.)*)",')
PIP = re.compile(r'^\((\d+),(\d+),\d+,[0-9.e+-]+\),$')
BEL = re.compile(r'^\("((?:[^"\\]|\\.)*)","((?:[^"\\]|\\.)*)",-?\d+,-?\d+,-?\d+,\[(.*)\]\),$')
PIN = re.compile(r'\("((?:[^"\\]|\\.)*)",(\d+),(\d)\)')
SEARCH_LIMIT = 20000  # wires visited backwards from one sink before giving up


def fail(text):
    sys.stderr.write("nextpnr_design: %s\n" % text)
    sys.exit(2)


class ARCH:
    """The tables of an architecture script: wires, pips backwards, bels with their pins."""

    def __init__(self, path):
        self.n_wires = 0
        self.drivers = defaultdict(list)  # wire to the wires that drive it
        self.bels = []  # (name, type, inputs [(pin, wire)], outputs [(pin, wire)])
        section = None
        try:
            with open(path) as f:
                for line in f:
                    line = line.rstrip("\n")
                    if line.endswith("= [  # name, type, x, y") and line.startswith("W"):
                        section = "W"
                    elif line.startswith("P = ["):
                        section = "P"
                    elif line.startswith("B = ["):
                        section = "B"
                    elif line == "]":
                        section = None
                    elif section == "W" and WIRE.match(line):
                        self.n_wires += 1
                    elif section == "P":
                        m = PIP.match(line)
                        if m:
                            self.drivers[int(m.group(2))].append(int(m.group(1)))
                    elif section == "B":
                        self.add_bel(line)
        except OSError:
            fail("cannot read " + path)
        if not self.bels:
            fail("no bels in " + path)

    def add_bel(self, line):
        m = BEL.match(line)
        if not m:
            return
        ins, outs = [], []
        for pin, wire, out in PIN.findall(m.group(3)):
            (outs if out == "1" else ins).append((pin, int(wire)))
        # A pin that no pip reaches or leaves cannot take part in routing.
        ins = [(p, w) for p, w in ins if self.drivers.get(w)]
        self.bels.append((m.group(1), m.group(2), ins, outs))

    def route(self, sink, wanted, taken):
        """A source in `wanted` that reaches `sink` over wires not in `taken`, by a bounded
        breadth-first search backwards, and the wires of that path; (None, None) if none."""
        parent = {sink: None}
        todo = [sink]
        for w in todo:
            if len(parent) > SEARCH_LIMIT:
                break
            for d in self.drivers.get(w, ()):
                if d in parent:
                    continue
                if d in wanted:
                    parent[d] = w
                    path = [d]
                    while parent[path[-1]] is not None:
                        path.append(parent[path[-1]])
                    return d, path
                if d not in taken:
                    parent[d] = w
                    todo.append(d)
        return None, None


def build(arch, n_cells, rng, fanin, only):
    """Cells placed on random bels; each input driven, with probability `fanin`, by an output
    of an earlier cell that reaches it in the graph over wires that no other connection took,
    so that the design has a route by construction."""
    bels = [b for b in arch.bels if (b[2] or b[3]) and (not only or b[1] == only)]
    rng.shuffle(bels)
    chosen = bels[:n_cells]
    if only and (not chosen or n_cells > len(chosen)):
        # An unknown type or more cells than bels: written unplaced, for nextpnr to refuse.
        chosen = chosen + [(None, only, [("I", -1)], [("O", -1)])] * (n_cells - len(chosen))
    cells, nets = {}, {}
    taken = {w for b in chosen for _, w in b[2] + b[3]}  # pin wires are no way through
    earlier = {}  # output wire to (cell, pin) of cells made so far
    bit = 2
    connections = 0
    for k, (bel, t, ins, outs) in enumerate(chosen):
        name = "c%d" % k
        conn, dirs = {}, {}
        for pin, wire in ins:
            if wire < 0 or rng.random() >= fanin:
                continue
            source, path = arch.route(wire, earlier, taken)
            if source is not None:
                taken.update(path)
                conn[pin] = [source]  # a wire for now, a bit below
                dirs[pin] = "input"
                connections += 1
        for pin, wire in outs:
            dirs[pin] = "output"
            conn[pin] = [wire]
            if wire >= 0:
                earlier[wire] = (name, pin)
        attrs = {"BEL": bel} if bel else {}
        cells[name] = {"hide_name": 0, "type": t, "parameters": {}, "attributes": attrs,
                       "port_directions": dirs, "connections": conn}
    # Wires become net bits; an output that drives nothing is left out.
    used = {c["connections"][p][0] for c in cells.values() for p in c["connections"]
            if c["port_directions"][p] == "input"}
    bits = {}
    for c in cells.values():
        for p in list(c["connections"]):
            w = c["connections"][p][0]
            if c["port_directions"][p] == "output" and (w not in used or w < 0):
                del c["connections"][p]
                del c["port_directions"][p]
                continue
            if w not in bits:
                bits[w] = bit
                nets["n%d" % bit] = {"hide_name": 0, "bits": [bit], "attributes": {}}
                bit += 1
            c["connections"][p] = [bits[w]]
    return cells, nets, connections


def main(argv):
    n_cells, seed, only, files = 300, 1, None, []
    args = iter(argv)
    for a in args:
        if a in ("--help", "-h"):
            print(__doc__.strip())
            return 0
        if a in ("--cells", "--seed", "--type"):
            v = next(args, None)
            if v is None:
                fail("option %s needs a value" % a)
            if a == "--type":
                only = v
                continue
            try:
                n = int(v)
            except ValueError:
                fail("bad number for %s: %s" % (a, v))
            if a == "--cells":
                n_cells = n
            else:
                seed = n
        elif a.startswith("-"):
            fail("unknown option " + a)
        else:
            files.append(a)
    if len(files) != 2:
        fail("give ARCH.py and OUT.json (see --help)")
    arch = ARCH(files[0])
    rng = random.Random(seed)
    cells, nets, connections = build(arch, n_cells, rng, 0.5, only)
    design = {"creator": "nextpnr_design",
              "modules": {"top": {"attributes": {"top": "00000000000000000000000000000001"},
                                  "ports": {}, "cells": cells, "netnames": nets}}}
    try:
        with open(files[1], "w") as f:
            json.dump(design, f, indent=1, sort_keys=True)
    except OSError:
        fail("cannot write " + files[1])
    print("design cells %d nets %d connections %d" % (len(cells), len(nets), connections))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
