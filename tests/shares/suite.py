"""Runs the suite's cases on the kinds of share, inside the network and process namespaces that `run` made."""

import argparse
import sys
from pathlib import Path

from cases import Context, configuration, doctor, exclusion, failures, last_release, people, power, quickstart, requests
from lab import shell
from lab.fleet import Fleet
from lab.kinds import KINDS
from lab.machine import Failed, Place
from report import Report, Result

MODULES = (quickstart, doctor, configuration, exclusion, people, last_release, failures, requests, power)
CASES = [case for module in MODULES for case in module.CASES]


def read_options():
    names = [case.name for case in CASES]
    parser = argparse.ArgumentParser(prog="scripts/test shares", description="Tests stores on real network shares.")
    parser.add_argument("cases", nargs="*", metavar="CASE", help=f"default: all of {', '.join(names)}; or `shell`")
    parser.add_argument("--share", action="append", choices=KINDS, help="kind of share; default: all")
    parser.add_argument("--seconds", type=int, default=60, help="length of a fight for locks")
    parser.add_argument("--cuts", type=int, default=50, help="number of power cuts")
    parser.add_argument("--folder", type=Path, required=True, help=argparse.SUPPRESS)
    options = parser.parse_args()
    if unknown := set(options.cases) - {*names, "shell"}:
        parser.error(f"unknown case: {', '.join(sorted(unknown))}")
    return options


def run_case(case, context):
    result = Result(case.name, context.kind.name if context.kind else "")
    try:
        case.run(context, result)
    except (Failed, OSError) as failure:
        result.faults.append(f"stopped: {failure}")
    return result


def main():
    options = read_options()
    fleet = Fleet(Place(options.folder / "root.img", options.folder / "shared", options.folder / "disks"))
    if options.cases == ["shell"]:
        shell.serve(fleet)
        return 0
    report = Report(options.folder / "report.txt")
    for case in CASES:
        if options.cases and case.name not in options.cases:
            continue
        kinds = [KINDS[name] for name in options.share or KINDS] if case.every_kind else [None]
        for kind in kinds:
            report.add(run_case(case, Context(fleet, kind, options)))
    return 0 if report.end() else 1


if __name__ == "__main__":
    sys.exit(main())
