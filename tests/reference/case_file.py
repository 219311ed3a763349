"""The files of the reference cases: JSON with arrays filled to the width of a line."""

import json

WIDTH = 100


def describe(kind, data, formula, options, model):
    """What is fitted: the first keys of every file."""
    return {
        "kind": kind,
        "data": data,
        "formula": formula,
        "options": options,
        "dependent": model.dependent,
        "intercept": model.intercept,
        "terms": [term.keys() for term in model.terms],
    }


def fill(items, indent):
    """Items and the commas between them, as many a line as fit."""
    lines = [indent + items[0]]
    for item in items[1:]:
        if len(lines[-1]) + len(item) + 3 <= WIDTH:
            lines[-1] += f", {item}"
        else:
            lines[-1] += ","
            lines.append(indent + item)
    return lines


def entry_text(key, entry):
    text = f" {json.dumps(key)}: {json.dumps(entry)}"
    if not isinstance(entry, list) or len(text) < WIDTH:
        return text
    lines = fill([json.dumps(item) for item in entry], "  ")
    return f" {json.dumps(key)}: [\n" + "\n".join(lines) + "\n ]"


def write(path, case):
    entries = ",\n".join(entry_text(key, entry) for key, entry in case.items())
    path.write_text("{\n" + entries + "\n}\n", encoding="ascii")
