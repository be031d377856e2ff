"""The steps of the quickstart, with the two working directories on two computers."""

from . import CONFIG, STORE, TVL, Case, new_store

STEPS = (  # computer, what is run, its status, what its output must contain
    ("alpha", "mkdir -p /tmp/first && cp -r /opt/tvl/include /tmp/first/tree", 0, ""),
    ("beta", "mkdir -p /tmp/second", 0, ""),
    ("alpha", f"{TVL} --work /tmp/first put -r tree", 0, ""),
    ("beta", f"{TVL} --work /tmp/second get -r tree", 0, ""),
    ("alpha", "echo changed >> /tmp/first/tree/tvlclient/tvl.h", 0, ""),
    ("alpha", f"{TVL} --work /tmp/first put -r tree", 0, ""),
    ("beta", f"{TVL} --work /tmp/second get -r tree", 0, ""),
    ("beta", f"diff -r /tmp/second/tree {STORE}/tree", 0, ""),
    ("alpha", f"diff -r /tmp/first/tree {STORE}/tree", 0, ""),
    ("beta", f"tail -n 1 /tmp/second/tree/tvlclient/tvl.h", 0, "changed"),
    ("alpha", f"{TVL} lock ORD1 -- tvl --config {CONFIG} lock ORD1 -- true", 4, "held by"),
    ("alpha", f"{TVL} lock ORD1 -- true", 0, ""),
    ("alpha", f"{TVL} env set Reports reports && {TVL} env get Reports", 0, "reports"),
    ("beta", f"{TVL} env get Reports", 0, "reports"),
    ("beta", f"{TVL} ls tree/tvlclient", 0, "tvl.h"),
    ("beta", f"{TVL} mv tree moved && {TVL} rm -r moved && ! {TVL} ls moved", 0, ""),
    ("alpha", f"{TVL} doctor", 0, ""),
)


def quickstart(context, result):
    new_store(context)
    for computer in context.fleet.clients:
        computer.run("rm -rf /tmp/first /tmp/second")
    for name, command, status, text in STEPS:
        done = context.fleet[name].run(command, 200)
        result.expect(done.status == status, f"{name}: status {done.status} of: {command}: {done.output[-300:].strip()}")
        result.expect(text in done.output, f"{name}: no '{text}' from: {command}: {done.output[-300:].strip()}")
    _locks_between_computers(context, result)


def _locks_between_computers(context, result):
    """Held on one computer, refused on the other; the holder is killed, and the next one gets the lock."""
    alpha, beta = context.fleet.clients
    holder = alpha.begin(f"{TVL} lock ORD1 -- sh -c 'echo held; sleep 300'")
    if not result.expect(holder.wait_for("held", 60), f"alpha: no lock: {holder.output}"):
        return
    refused = beta.run(f"{TVL} lock ORD1 -- true")
    result.expect(refused.status == 4 and "alpha" in refused.output, f"beta: status {refused.status}: {refused.output.strip()}")
    listed = beta.run(f"{TVL} locks")
    result.expect("alive" in listed.output, f"beta: locks: {listed.output.strip()}")
    alpha.run("pkill -KILL -x tvl")
    taken = beta.run(f"{TVL} lock --wait 30 ORD1 -- true")
    result.expect(taken.status == 0, f"beta: after the holder's death: status {taken.status}: {taken.output.strip()}")


CASES = (Case("quickstart", quickstart),)
