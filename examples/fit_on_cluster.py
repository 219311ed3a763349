#!/usr/bin/env python3
"""Fits a model to a table in many files on a Dask cluster, and prints the fit as JSON.

Usage: fit_on_cluster.py [--scheduler ADDRESS | --workers N] FORMULA FILE...

Each file is a part, of any format that `qvreg fit` reads, and is read by a worker. The levels of the factors are those
of all parts. Beside each file its worker writes a file of records, FILE.records, which is removed in the end; then
requests and sums travel, records do not. All workers reach the files by the names given: on several hosts they lie on
a file system that these share. Results are the same, to the last bit, on any number of workers.

Without --scheduler the workers are processes of this machine. The command `qvreg` is on the path, or QVREG_COMMAND
names it.
"""

import argparse
import json
import os

from distributed import Client, LocalCluster

from qvreg import records


def arguments():
    parser = argparse.ArgumentParser(description="Fits a model to a table in many files on a Dask cluster.")
    parser.add_argument("--scheduler", help="address of the cluster's scheduler, as host:8786")
    parser.add_argument("--workers", type=int, default=3, help="how many processes here without it [3]")
    parser.add_argument("formula", help="dependent ~ terms, as of 'qvreg fit'")
    parser.add_argument("files", nargs="+", help="the parts of the table")
    return parser.parse_args()


def on_all(client, name, function, files, **options):
    """What `function` makes of each file, on the workers; the dashboard shows `name`."""
    return client.gather(client.map(function, files, key=name, pure=False, **options))


def spool(file, formula, levels):
    return records.spool(file, formula, f"{file}.records", levels=levels)


def remove(file):
    if os.path.exists(f"{file}.records"):
        os.remove(f"{file}.records")


def fit(client, formula, files):
    levels = records.unite(on_all(client, "levels", records.spool, files, formula=formula))
    try:
        return records.fit(on_all(client, "spool", spool, files, formula=formula, levels=levels), client)
    finally:
        on_all(client, "remove", remove, files)


def main():
    given = arguments()
    files = [os.path.abspath(file) for file in given.files]
    if given.scheduler:
        with Client(given.scheduler) as client:
            found = fit(client, given.formula, files)
    else:
        with LocalCluster(given.workers, threads_per_worker=1, dashboard_address=None) as cluster:
            with Client(cluster) as client:
                found = fit(client, given.formula, files)
    print(json.dumps(found, indent=2))


if __name__ == "__main__":
    main()
