"""A digest of the records used, the same as the command's: of the dependent and both weights of each."""

from __future__ import annotations

import numpy as np

from ._columns import Column
from ._fit import Layout
from ._records import Records, blocks

# Few enough for the nearest caches.
_BLOCK_ROWS = 1 << 14
_ALL_BITS = (1 << 64) - 1


def _mixed(bits: np.ndarray) -> np.ndarray:
    """Numbers of which every bit depends on every bit of `bits`, which are overwritten: SplitMix64's last step."""
    shifted = np.empty_like(bits)
    bits += np.uint64(0x9E3779B97F4A7C15)
    for shift, factor in ((30, 0xBF58476D1CE4E5B9), (27, 0x94D049BB133111EB)):
        bits ^= np.right_shift(bits, np.uint64(shift), out=shifted)
        bits *= np.uint64(factor)
    bits ^= np.right_shift(bits, np.uint64(31), out=shifted)
    return bits


def _bits(values: np.ndarray) -> np.ndarray:
    """Those of doubles; of -0 those of 0."""
    return (np.asarray(values, np.float64) + 0.0).view(np.uint64)


def _text_hash(text: str) -> np.ndarray:
    data = text.encode()
    found = _mixed(np.array([len(data)], np.uint64))
    for start in range(0, len(data), 8):
        found = _mixed(found ^ np.uint64(int.from_bytes(data[start:start + 8], "little")))
    return found


class RecordDigest:
    """Sums up the records that a fit uses, in any order.

    Parameters
    ----------
    layout : Layout
        Where they have the dependent and weights.
    levels : list of str, optional
        The texts of the dependent's classes, by code.
    """

    def __init__(self, layout: Layout, levels: list[str] | None) -> None:
        self._layout = layout
        self._levels = None if levels is None else np.concatenate([_text_hash(level) for level in levels])
        self._sums = [0, 0]

    def add(self, records: Records, are_all_used: bool = False) -> None:
        """Adds those of the records that are used: without a missing value, and with weights above 0."""
        for rows in blocks(records.n_rows, _BLOCK_ROWS):
            columns = [column.rows(rows) for column in records.columns]
            hashes = self._hashes(columns)
            if not are_all_used:
                hashes = hashes[self._used(columns)]
            self._sums[0] += int(hashes.sum(dtype=np.uint64))
            self._sums[1] += int((hashes * hashes).sum(dtype=np.uint64))

    def _hashes(self, columns: list[Column]) -> np.ndarray:
        dependent = columns[self._layout.dependent].numbers()
        if self._levels is None:
            values = _bits(dependent)
        else:
            values = self._levels[np.where(np.isnan(dependent), 0, dependent).astype(np.intp)]
        freq, weight = (_bits(np.ones(1) if position is None else columns[position].numbers())
                        for position in (self._layout.freq_weights, self._layout.weights))
        return _mixed(values ^ _mixed(_mixed(freq) ^ weight))

    def _used(self, columns: list[Column]) -> np.ndarray:
        used = np.ones(len(columns[0]), bool)
        for column in columns:
            used &= ~np.isnan(column.numbers())
        for position in (self._layout.freq_weights, self._layout.weights):
            if position is not None:
                used &= columns[position].numbers() > 0
        return used

    @property
    def text(self) -> str:
        """32 hexadecimal digits."""
        return "".join(f"{total & _ALL_BITS:016x}" for total in self._sums)
