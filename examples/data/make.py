#!/usr/bin/env python3
"""Writes penguins.csv and cars.csv from the tables of the npm package vega-datasets 3.2.1.

    npm pack vega-datasets@3.2.1 && tar -xzf vega-datasets-3.2.1.tgz
    python3 examples/data/make.py package/data

Rows keep their order. Columns get short snake_case names; a missing value is an empty cell.
"""

import csv
import json
import pathlib
import sys

PENGUINS = {
    "species": "Species",
    "island": "Island",
    "beak_length": "Beak Length (mm)",
    "beak_depth": "Beak Depth (mm)",
    "flipper_length": "Flipper Length (mm)",
    "body_mass": "Body Mass (g)",
    "sex": "Sex",
}

CARS = {
    "name": "Name",
    "miles_per_gallon": "Miles_per_Gallon",
    "cylinders": "Cylinders",
    "displacement": "Displacement",
    "horsepower": "Horsepower",
    "weight": "Weight_in_lbs",
    "acceleration": "Acceleration",
    "model_year": "Year",
    "origin": "Origin",
}


def cell(column, value):
    """The text of one cell; the sex "." of one penguin stands for unknown, as an empty cell does."""
    if value is None or value == ".":
        return ""
    if column == "sex":
        return value.lower()
    if column == "model_year":
        return value[:4]
    return value


def convert(source, target, columns):
    records = json.loads(source.read_text(encoding="utf-8"))
    with target.open("w", encoding="utf-8", newline="") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(columns)
        for record in records:
            writer.writerow(cell(column, record[name]) for column, name in columns.items())
    print(f"{target.name}: {len(records)} rows")


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: make.py FOLDER  (the folder data of the unpacked package vega-datasets)")
    source = pathlib.Path(sys.argv[1])
    target = pathlib.Path(__file__).parent
    convert(source / "penguins.json", target / "penguins.csv", PENGUINS)
    convert(source / "cars.json", target / "cars.csv", CARS)


if __name__ == "__main__":
    main()
