# nextpnr_routes: a --post-route hook of nextpnr-generic. It writes every pip of every routed net
# as "net SOURCE_WIRE DESTINATION_WIRE KIND" to the file named by FAB_ROUTES (default routes.txt),
# and "unrouted NET" for a net with a sink that its wires do not reach.
import os

out = open(os.environ.get("FAB_ROUTES", "routes.txt"), "w")
for name, net in sorted(ctx.nets, key=lambda n: str(n[0])):
    wires = set()
    for wire, pm in net.wires:
        wires.add(str(wire))
        if pm.pip is not None:
            out.write("%s %s %s %s\n" % (name, ctx.getPipSrcWire(pm.pip), ctx.getPipDstWire(pm.pip),
                                         str(pm.pip).split("|")[0]))
    for user in net.users:
        sink = ctx.getBelPinWire(user.cell.bel, user.port) if user.cell.bel is not None else None
        if sink is None or str(sink) not in wires:
            out.write("unrouted %s\n" % name)
            break
out.close()
