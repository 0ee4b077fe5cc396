#!/usr/bin/env python3
# The route chain on the tiny device: nextpnr-generic routes a design on the exported graph,
# every net is routed, every used pip turns into a block setting, and the settings of a handful
# of nets are those that the generator designed for their mux paths. Skipped (status 77) when
# nextpnr-generic is not installed.
import json
import os
import shutil
import subprocess
import sys
import tempfile

SKIP = 77


def check(cond, text, failures):
    if not cond:
        failures.append(text)


def designed_settings(device_json):
    """(mux module, input port) to the designed {subpath: value}."""
    with open(device_json) as f:
        device = json.load(f)
    table = {}
    for mux in device.get("mux_settings", []):
        for path in mux["paths"]:
            table[(mux["module"], path["in"])] = path["setting"]
    return table


def parse_answer(answer):
    _, _, rest = answer.partition(": ")
    fields = dict(w.split("=", 1) for w in rest.split(" ") if "=" in w)
    settings = {}
    if fields.get("settings", "none") != "none":
        for item in fields["settings"].split(","):
            sub, _, value = item.rpartition("=")
            settings[sub] = value
    return fields.get("mux"), fields.get("input"), settings


def main(build, source):
    if shutil.which("nextpnr-generic") is None:
        print("nextpnr-generic is not installed: test skipped")
        return SKIP
    out = tempfile.mkdtemp(prefix="route_chain_")
    failures = []
    try:
        chain = subprocess.run([os.path.join(source, "tools", "route_chain.sh"), build, out, "tiny",
                                "60"], capture_output=True, text=True)
        print(chain.stdout + chain.stderr)
        check(chain.returncode == 0, "chain status %d" % chain.returncode, failures)
        with open(os.path.join(out, "design.json")) as f:
            design_nets = set(json.load(f)["modules"]["top"]["netnames"])
        routes = open(os.path.join(out, "routes.txt")).read().split("\n")
        routed = {line.split()[0] for line in routes if len(line.split()) == 4}
        check(not any(line.startswith("unrouted") for line in routes), "an unrouted net", failures)
        check(routed == design_nets, "routed nets %d of %d" % (len(routed), len(design_nets)),
              failures)
        check(len(design_nets) >= 10, "only %d nets in the design" % len(design_nets), failures)
        unrealised = open(os.path.join(out, "unrealised.txt")).read().split("\n")[:-1]
        check(not unrealised, "%d configurable pips not realised or in conflict:\n  %s"
              % (len(unrealised), "\n  ".join(unrealised)), failures)
        settings = open(os.path.join(out, "settings.txt")).read().split("\n")[:-1]
        check(settings and settings == sorted(settings), "settings empty or unsorted", failures)
        # The settings of the first five nets against the generator's design.
        designed = designed_settings(os.path.join(out, "device.json"))
        checked = 0
        for line in open(os.path.join(out, "answers.txt")):
            nets, _, answer = line.partition(" edge ")
            if not set(nets.split()) & set(sorted(design_nets)[:5]) or "block=" not in answer:
                continue
            mux, port, got = parse_answer("edge " + answer.strip())
            check(got == designed.get((mux, port), {}),
                  "%s: designed %s" % (answer.strip(), designed.get((mux, port))), failures)
            checked += 1
        check(checked > 0, "no pip of the first five nets checked", failures)
        print("checked %d pips of five nets against the design" % checked)
    finally:
        if not failures:
            shutil.rmtree(out, ignore_errors=True)
    for text in failures:
        print("FAILED: " + text + " (files in " + out + ")")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2]))
