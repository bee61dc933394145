#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Changes the plug-in and the decoder in one small place after the other, and sees whether the tests notice."""

import argparse
import collections
import concurrent.futures
import glob
import os
import queue
import random
import sys

import mutants
import workshop
from workshop import ROOM

ACCEPTED = "tests/reliability/mutation/survivors.txt"
LEAST_KILLED_PERCENT = 95


def key_of(mutant):
    """How the list of accepted survivors names a mutant: lines may move, and stay the same."""
    return f"{os.path.relpath(mutant.file, ROOM)}\t{mutant.line}\t{mutant.what}"


def accepted_survivors(path):
    """The keys of the list, in which each stands on a line with a tab and the reason behind it."""
    accepted = set()
    with open(path, encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            if line.strip() and not line.startswith("#"):
                cells = line.rstrip("\n").split("\t")
                if len(cells) != 4 or not cells[3]:
                    raise SystemExit(f"mutate: {path}, line {number}: expected file, line, change and reason with tabs "
                                     "between them")
                accepted.add("\t".join(cells[:3]))
    return accepted


def survivors_of(path):
    """The keys of those that survived the run whose outcomes these are."""
    with open(path, encoding="utf-8") as file:
        cells = [line.rstrip("\n").split("\t", 1) for line in file]
    return {key for outcome, key in cells if outcome == workshop.Outcome.SURVIVED.value}


def all_mutants(source, only):
    found = []
    for path in sorted(glob.glob(f"{source}/{ROOM}/**/*.cpp", recursive=True) +
                       glob.glob(f"{source}/{ROOM}/**/*.h", recursive=True)):
        name = os.path.relpath(path, source)
        if only is None or only in name:
            with open(path, encoding="utf-8") as file:
                found += mutants.mutants_of(name, file.read())
    return found


def try_all(chosen, shops, log):
    """The outcome of each mutant, in the order given."""
    free = queue.Queue()
    for shop in shops:
        free.put(shop)

    def try_one(mutant):
        shop = free.get()
        try:
            outcome = shop.outcome_of(mutant)
        finally:
            free.put(shop)
        print(f"{outcome.value}\t{key_of(mutant)}", file=log, flush=True)
        return outcome

    with concurrent.futures.ThreadPoolExecutor(len(shops)) as pool:
        return list(pool.map(try_one, chosen))


def print_table(chosen, outcomes):
    counts = collections.defaultdict(collections.Counter)
    for mutant, outcome in zip(chosen, outcomes):
        counts[os.path.relpath(mutant.file, ROOM)][outcome] += 1
        counts["all"][outcome] += 1
    print(f"{'file':40}" + "".join(f"{outcome.value:>14}" for outcome in workshop.Outcome))
    for name, of_file in counts.items():
        if name != "all":
            print(f"{name:40}" + "".join(f"{of_file[outcome]:14}" for outcome in workshop.Outcome))
    print(f"{'all':40}" + "".join(f"{counts['all'][outcome]:14}" for outcome in workshop.Outcome))
    return counts["all"]


def main():
    parser = argparse.ArgumentParser(prog="mutate", description=__doc__)
    parser.add_argument("--sample", type=int, help="so many mutants, chosen at random; else all")
    parser.add_argument("--seed", type=int, default=1, help="of the choice")
    parser.add_argument("--file", help="only files whose path has this in it")
    parser.add_argument("--survivors", action="store_true", help="only those that survived the last run")
    parser.add_argument("--workers", type=int, default=os.cpu_count())
    options = parser.parse_args()

    source = os.path.abspath(os.path.join(os.path.dirname(__file__), "../../.."))
    folder = os.path.join(source, "build/mutate")
    outcomes_file = os.path.join(folder, "outcomes.txt")
    accepted = accepted_survivors(os.path.join(source, ACCEPTED))
    chosen = all_mutants(source, options.file)
    if options.survivors:
        survived = survivors_of(outcomes_file)
        chosen = [mutant for mutant in chosen if key_of(mutant) in survived]
    total = len(chosen)
    if options.sample is not None and options.sample < total:
        chosen = random.Random(options.seed).sample(chosen, options.sample)
        chosen.sort(key=lambda mutant: (mutant.file, mutant.start))

    shops = [workshop.Workshop(source, os.path.join(folder, str(index))) for index in range(options.workers)]
    with concurrent.futures.ThreadPoolExecutor(len(shops)) as pool:
        list(pool.map(lambda shop: shop.prepare([mutant.file for mutant in chosen]), shops))
    with open(outcomes_file, "w", encoding="utf-8") as log:
        outcomes = try_all(chosen, shops, log)

    counts = print_table(chosen, outcomes)
    survivors = [mutant for mutant, outcome in zip(chosen, outcomes) if outcome is workshop.Outcome.SURVIVED]
    unexplained = [mutant for mutant in survivors if key_of(mutant) not in accepted]
    for mutant in unexplained:
        print(f"survived: {key_of(mutant)}")
    judged = counts[workshop.Outcome.KILLED] + counts[workshop.Outcome.SURVIVED]
    percent = 100 * counts[workshop.Outcome.KILLED] / judged if judged else 100
    print(f"{len(chosen)} of {total} mutants tried (seed {options.seed}); {counts[workshop.Outcome.KILLED]} of {judged} that "
          f"change the code killed: {percent:.1f} %; {len(survivors)} survived, {len(unexplained)} of them without a reason")
    return 1 if unexplained or percent < LEAST_KILLED_PERCENT else 0


if __name__ == "__main__":
    sys.exit(main())
