"""Programs of the last release and of this one on one store."""

import time

from lab.witness import Witness

from . import CONFIG, TVL, Case, new_store
from .exclusion import begin_contenders, judge

FOLDER = "/lab/last_release"
OLD_LIBRARY = f"LD_LIBRARY_PATH={FOLDER}/lib"
OLD_TVL = f"env {OLD_LIBRARY} {FOLDER}/bin/tvl --config {CONFIG}"
SECONDS_UNTIL_FREE = 60


def _holds_against(context, result, holding, asking, name):
    """A lock of one release bars the other, until its owner is killed."""
    alpha, beta = context.fleet.clients
    owner = alpha.begin(f"{holding} lock job -- sh -c 'echo holds; sleep 300'")
    if not result.expect(owner.wait_for("holds", 60), f"{name}: no lock: {owner.output[-300:]}"):
        return
    refused = beta.run(f"{asking} lock job -- true", 90)
    result.expect(refused.status == 4 and "alpha" in refused.output,
                  f"{name}: status {refused.status} while it is held: {refused.output[-300:].strip()}")
    alpha.run("pkill -KILL -x tvl")
    began = time.monotonic()
    while (taken := beta.run(f"{asking} lock job -- true", 90)).status != 0 and time.monotonic() < began + SECONDS_UNTIL_FREE:
        time.sleep(0.2)
    if result.expect(taken.status == 0, f"{name}: status {taken.status} after its owner's death: {taken.output[-300:].strip()}"):
        result.figure(f"{name}: refused after {refused.seconds:.1f} s, free after {time.monotonic() - began:.1f} s")


def last_release(context, result):
    """On SMB only holds: there the last release cannot share a table with another computer. It knows no gate, so not fair."""
    if not (context.fleet["alpha"].place.shared / "last_release").exists():
        return result.figure("skipped: the last release was not built")
    alpha = new_store(context)
    _holds_against(context, result, TVL, OLD_TVL, "new holds, old asks")
    _holds_against(context, result, OLD_TVL, TVL, "old holds, new asks")
    if context.kind.is_smb:
        return None
    alpha.must(f"{TVL} table create turns.dat --key1 32 --record 32")
    fighters = begin_contenders(context.fleet.clients, context.options.seconds, Witness(), ("", OLD_LIBRARY))
    for fighter in fighters:
        fighter.wait()
    return judge(result, fighters, alpha.run(f"store_user list {CONFIG}"), least_share=0)


CASES = (Case("last release", last_release),)
