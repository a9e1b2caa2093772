#!/usr/bin/env python3
"""numbers_equal_decimal.py PROGRAM [SEED]: NUMBER and DECIMAL values against Python's decimal.

Strings become columns and strings again, over all precisions and scales; PROGRAM is number_lines.
"""
import decimal
import random
import subprocess
import sys
from decimal import Decimal

decimal.getcontext().prec = 400
decimal.getcontext().Emax, decimal.getcontext().Emin = 10**6, -(10**6)
FLOATING, OUT_OF_RANGE, BAD_ARGUMENT, TRUNCATED = -128, 16, -6, -5
FIXED = [  # what chance seldom finds
    ("number", "0", FLOATING, FLOATING), ("number", "-0.000e5", FLOATING, FLOATING),
    ("number", "-128", FLOATING, FLOATING), ("number", "128", FLOATING, FLOATING),
    ("number", str(2**135 - 1), FLOATING, FLOATING), ("number", str(2**135), FLOATING, FLOATING),
    ("number", str(-(2**135)), FLOATING, FLOATING), ("number", "1" + "0" * 200, FLOATING, FLOATING),
    ("number", "1e32768", FLOATING, FLOATING), ("number", "1e999999", FLOATING, FLOATING),
    ("decimal", "99.995", 4, 2), ("decimal", "-0.004", 4, 2), ("decimal", "-99.994", 4, 2), ("decimal", "9" * 38, 38, 0),
    ("decimal", "1" + "0" * 38, 38, 0), ("number", "1e30", 5, 2), ("decimal", "1", 39, 0), ("decimal", "1", 5, 6),
    ("number", "1", 0, 0), ("range", "9" * 40, FLOATING, FLOATING), ("range", "9" * 39 + "19", FLOATING, FLOATING),
    ("range", "1e125", FLOATING, FLOATING), ("range", "1e126", FLOATING, FLOATING), ("range", "1", 5, 0),
    ("range", "1", FLOATING, -1), ("range", "1e30", FLOATING, 20), ("range", "1e10", FLOATING, 20),
    ("integer", str(2**63 - 1)), ("integer", str(2**63)), ("integer", str(-(2**63))), ("integer", "-1.9"),
    ("compare", "1e100", "1" + "0" * 90 + "e10"), ("compare", "1e-30000", "-1e30000"),
    ("compare", "0.1", "0.10000000000000000000000000000000000001"),
] + [("number", bad, FLOATING, FLOATING) for bad in (".", "-", "1e", "1e+", "--1", "1.2.3", "1x", "e5", "0x1")]


def any_text(rng):
    digits = "".join(rng.choice("0123456789") for _ in range(rng.randint(1, rng.choice((3, 10, 20, 41)))))
    if rng.random() < 0.3:
        digits += "0" * rng.randint(0, 10)
    point = rng.randint(0, len(digits))
    text = rng.choice(("", "-", "+")) + digits[:point] + rng.choice((".", "")) + digits[point:]
    return text + (rng.choice(("", f"e{rng.randint(-40, 40)}")))


def any_case(rng):
    text = any_text(rng)
    what = rng.choice(("number", "number", "decimal", "decimal", "compare", "integer", "range"))
    precision = rng.randint(1, 38)
    if what == "compare":
        value = Decimal(text)
        near = value + rng.choice((0, Decimal(1).scaleb(value.adjusted() - 60)))
        other = any_text(rng) if rng.random() < 0.5 else str(near)
        return what, text, other
    if what == "integer":
        return what, text
    if what == "range" or (what == "number" and rng.random() < 0.5):
        return what, text, FLOATING, FLOATING
    return what, text, precision, rng.randint(0, precision)


def mantissa(value):
    """Digits without zeros at their end, and the power of ten."""
    if value == 0:
        return 0, 0
    sign, digits, exponent = value.normalize().as_tuple()
    return int("".join(map(str, digits))) * (-1) ** sign, exponent


def rounded(value, precision, scale):
    scaled = value.scaleb(scale).to_integral_value(decimal.ROUND_HALF_UP)
    return int(scaled) if abs(scaled) < 10**precision else None


def column_of(what, value, precision, scale):
    """The column's bytes, or a result."""
    if what == "decimal":
        if not 1 <= precision <= 38 or scale > precision:
            return 5 if precision > 38 else 6
        scaled = rounded(value, precision, scale)
        width = next(w for most, w in ((2, 1), (4, 2), (9, 4), (18, 8), (38, 16)) if precision <= most)
        return OUT_OF_RANGE if scaled is None else scaled.to_bytes(width, "little", signed=True)
    if precision == FLOATING:
        digits, exponent = mantissa(value)
    elif precision < 1:
        return 5
    else:
        digits, exponent = rounded(value, precision, scale), -scale
    if digits is None or not -32767 <= exponent <= 32767:
        return OUT_OF_RANGE
    if digits == 0:
        return b"\0"
    size = next(n for n in range(1, 90) if -(1 << 8 * n - 1) <= digits < 1 << 8 * n - 1)
    if size > 17:
        return OUT_OF_RANGE
    return bytes([size + 2]) + (-exponent).to_bytes(2, "little", signed=True) + digits.to_bytes(size, "little", signed=True)


def number_text(value):
    digits, exponent = mantissa(value)
    sign, digits = "-" * (digits < 0), str(abs(digits))
    if exponent >= -len(digits) and len(digits) + exponent <= max(40, len(digits) if exponent <= 0 else 0):
        return sign + format(abs(value).normalize(), "f")
    return f"{sign}{digits[0]}{'.' * (len(digits) > 1)}{digits[1:]}e{exponent + len(digits) - 1}"


def decimal_text(value):
    return "0" if value == 0 else format(value.normalize(), "f")


def expected(case):
    what, text, *rest = case
    try:
        value = Decimal(text)
        if not value.is_finite() or "x" in text:
            raise ValueError
    except (decimal.InvalidOperation, ValueError):
        return str(BAD_ARGUMENT)
    if what == "compare":
        return str(int(value.compare(Decimal(rest[0]))))
    if what == "range":
        digits, exponent = mantissa(value)
        if rest[0] != FLOATING:
            return "5"
        if rest[1] not in (FLOATING, 0) and rest[1] < 0:
            return "6"
        if rest[1] > 0:
            digits, exponent = int(value.scaleb(rest[1]).to_integral_value(decimal.ROUND_HALF_UP)), -rest[1]
        count = len(str(abs(digits)))
        return "0" if count <= 40 and exponent + count - 1 < 126 else str(OUT_OF_RANGE)
    if what == "integer":
        whole = int(value)
        if not -(2**63) <= whole < 2**63:
            return f"{OUT_OF_RANGE} 0"
        return f"{0 if whole == value else TRUNCATED} {whole}"
    column = column_of(what, value, *rest)
    if isinstance(column, int):
        return str(column)
    if what == "decimal" or rest[0] != FLOATING:
        value = Decimal(rounded(value, *rest)).scaleb(-rest[1])
        own = decimal_text(value)
    else:
        own = number_text(value)
    return f"0 {column.hex()} {decimal_text(value) if what == 'decimal' else number_text(value)} {own}"


def main():
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else random.randrange(2**32)
    rng = random.Random(seed)
    cases = FIXED + [any_case(rng) for _ in range(20000)]
    lines = "".join(" ".join(map(str, case)) + "\n" for case in cases)
    answers = subprocess.run([sys.argv[1]], input=lines, capture_output=True, text=True, check=True).stdout.splitlines()
    bad = [(case, answer, expected(case)) for case, answer in zip(cases, answers) if answer != expected(case)]
    for case, answer, wanted in bad[:10]:
        print(*case, ":", answer, "instead of", wanted)
    print(f"{len(answers)} of {len(cases)} answered, {len(bad)} wrong, seed {seed}")
    return len(bad) > 0 or len(answers) != len(cases)


if __name__ == "__main__":
    sys.exit(main())
