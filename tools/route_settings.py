#!/usr/bin/env python3
"""route_settings: turns the pips of routed nets into block settings through the translation
database. Each distinct pip "net SOURCE DESTINATION KIND" of ROUTES whose kind is CRF (a path
through a mux, the only kind a block configures) goes to fab_query's edge question; the other
kinds (BLC, FCD, VIRTUAL) are fixed connections and are only counted;
the answers become a settings file of sorted lines "BLOCK MUX INSTANCE SUBPATH VALUE", one per
configured block instance and setting (a block holds several instances of one mux module and
sub-block names repeat across them, so the mux instance's path inside the block is part of the
key). Pips of kind CRF_FIXED (bridges and the edges at inserted REs) are fixed connections too.
Pips of kind CRF_HIPI (a HIPI path into the shadow node of its mux) configure a mux, but the
database holds no HIPI paths: they are counted apart and not asked. A pip that no block realises (a wire without a GID included) is
counted and listed in UNREALISED; two pips that set one setting of a block differently are
listed there too. A routes file with "unrouted" lines is refused: its settings would look
complete and not be.

usage: route_settings.py --query FAB_QUERY --db DB --routes ROUTES --out SETTINGS
                         [--unrealised FILE] [--answers FILE]
Prints one summary line: nets, pips, fixed, hipi, translated, unrealised, conflicts, settings.
Exit status: 0 every pip translated, 1 some pip not realised or a net unrouted, 2 bad argument.
"""
import subprocess
import sys

OPTIONS = ("--query", "--db", "--routes", "--out", "--unrealised", "--answers")


def fail(text):
    sys.stderr.write("route_settings: %s\n" % text)
    sys.exit(2)


def parse_args(argv):
    opts = {}
    args = iter(argv)
    for a in args:
        if a in ("--help", "-h"):
            print(__doc__.strip())
            sys.exit(0)
        if a not in OPTIONS:
            fail("unknown argument " + a)
        v = next(args, None)
        if v is None:
            fail("option %s needs a value" % a)
        opts[a] = v
    for need in OPTIONS[:4]:
        if need not in opts:
            fail("%s is required (see --help)" % need)
    return opts


def read_routes(path):
    """Distinct pips in first-seen order, the nets of each, and the unrouted nets."""
    pips, kinds, nets, unrouted = {}, {}, set(), []
    try:
        with open(path) as f:
            for line in f:
                w = line.split()
                if len(w) == 2 and w[0] == "unrouted":
                    unrouted.append(w[1])
                elif len(w) == 4:
                    nets.add(w[0])
                    pips.setdefault((w[1], w[2]), []).append(w[0])
                    kinds[(w[1], w[2])] = w[3]
                elif w:
                    fail("%s: malformed line: %s" % (path, line.strip()))
    except OSError:
        fail("cannot read " + path)
    return pips, kinds, nets, unrouted


def ask(query, db, pips):
    """One fab_query answer per pip, in the order of the pips."""
    questions = "".join("edge %s %s\n" % p for p in pips)
    try:
        done = subprocess.run([query, db], input=questions, capture_output=True, text=True)
    except OSError:
        fail("cannot run " + query)
    if done.returncode != 0:
        fail("%s: %s" % (query, (done.stderr or done.stdout).strip().splitlines()[-1:]))
    # The database may warn on reading; answers are the lines that start with the question.
    answers = [line for line in done.stdout.splitlines() if line.startswith("edge ")]
    if len(answers) != len(pips):
        fail("%s gave %d answers to %d questions" % (query, len(answers), len(pips)))
    return answers


def parse_answer(answer):
    """(block, [(subpath, value)]) of a realised edge, or None."""
    head, _, rest = answer.partition(": ")
    if not rest.startswith("block="):
        return None
    fields = dict(w.split("=", 1) for w in rest.split(" ") if "=" in w)
    settings = []
    if fields.get("settings", "none") != "none":
        for item in fields["settings"].split(","):
            sub, _, value = item.rpartition("=")
            settings.append((sub, value))
    key = " ".join(fields.get(f, "?") for f in ("block", "mux", "instance"))
    return key, settings


def main(argv):
    o = parse_args(argv)
    pips, kinds, nets, unrouted = read_routes(o["--routes"])
    if unrouted:
        fail("%d nets unrouted, first %s: no settings written" % (len(unrouted), unrouted[0]))
    unrealised, chosen, conflicts = [], {}, []
    fixed = [p for p in pips if kinds[p] not in ("CRF", "CRF_HIPI")]
    hipi = [p for p in pips if kinds[p] == "CRF_HIPI"]
    for p in fixed + hipi:
        del pips[p]
    translatable = [p for p in pips if ":" in p[0] and ":" in p[1]]
    answers = dict(zip(translatable, ask(o["--query"], o["--db"], translatable))) \
        if translatable else {}
    for pip in pips:
        answer = answers.get(pip, "edge %s %s: a wire without GID" % pip)
        parsed = parse_answer(answer)
        if parsed is None:
            unrealised.append("%s (net %s)" % (answer, pips[pip][0]))
            continue
        block, settings = parsed
        for sub, value in settings:
            key = (block, sub)
            if chosen.setdefault(key, value) != value:
                conflicts.append("conflict %s %s: %s and %s" % (block, sub, chosen[key], value))
    if "--answers" in o:
        with open(o["--answers"], "w") as f:
            for pip in pips:
                f.write("%s %s\n" % (" ".join(sorted(set(pips[pip]))), answers.get(pip, "")))
    lines = sorted("%s %s %s" % (b, s, v) for (b, s), v in chosen.items())
    with open(o["--out"], "w") as f:
        f.writelines(line + "\n" for line in lines)
    if "--unrealised" in o:
        with open(o["--unrealised"], "w") as f:
            f.writelines(line + "\n" for line in unrealised + conflicts)
    print("nets %d pips %d fixed %d hipi %d translated %d unrealised %d conflicts %d settings %d"
          % (len(nets), len(pips) + len(fixed) + len(hipi), len(fixed), len(hipi),
             len(pips) - len(unrealised),
             len(unrealised), len(conflicts), len(lines)))
    return 1 if unrealised or conflicts else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
