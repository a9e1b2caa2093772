"""Random schemas, record formats and their attributes, and job files made of them."""
CHARACTER = ["VARCHAR", "VARCHAR", "CLOB", "XML", "JSON", "JSON BY NAME", "CLOB BY NAME"]
NEVER_EMPTY = ["VARCHAR", "CLOB", "JSON BY NAME", "CLOB BY NAME"]
SIZED = ["UNTYPED", "CHAR", "VARCHAR", "BYTE", "VARBYTE", "GRAPHIC", "VARGRAPHIC", "NULLABLE VARCHAR", "NULLABLE CHAR",
         "NULLABLE BYTE", "NULLABLE VARBYTE", "NULLABLE GRAPHIC", "NULLABLE VARGRAPHIC", "BLOB", "CLOB", "BLOB BY NAME",
         "CLOB BY NAME", "VARCHARHEX", "XML", "XML BY NAME", "JSON", "JSON BY NAME"]
PLAIN = ["INTEGER", "SMALLINT", "FLOAT", "BYTEINT", "INTDATE", "ANSIDATE", "BOOLEAN", "NULLABLE FLOAT", "NULLABLE INTEGER",
         "NULLABLE SMALLINT", "NULLABLE BYTEINT", "NULLABLE INTDATE", "NULLABLE ANSIDATE", "NULLABLE BOOLEAN", "BIGINT",
         "NULLABLE BIGINT", "INTERVAL YEAR", "INTERVAL YEAR TO MONTH", "INTERVAL MONTH", "INTERVAL DAY",
         "INTERVAL DAY TO HOUR", "INTERVAL DAY TO MINUTE", "INTERVAL HOUR", "INTERVAL HOUR TO MINUTE", "INTERVAL MINUTE",
         "PERIOD(INTDATE)", "NUMBER"]
SECONDS = ["TIME", "TIME{} WITH TIME ZONE", "TIMESTAMP", "TIMESTAMP{} WITH TIME ZONE", "INTERVAL DAY TO SECOND",
           "INTERVAL HOUR TO SECOND", "INTERVAL MINUTE TO SECOND", "INTERVAL SECOND", "PERIOD(TIME{})",
           "PERIOD(TIME{} WITH TIME ZONE)", "PERIOD(TIMESTAMP{})", "PERIOD(TIMESTAMP{} WITH TIME ZONE)"]
BINARY = ["Formatted", "Formatted2", "Formatted4", "Binary", "Binary4", "Unformatted"]


def toml(value):
    if isinstance(value, bool):
        return str(value).lower()
    if isinstance(value, int):
        return str(value)
    return '"' + "".join(c if c not in '"\\' and c.isprintable() else f"\\U{ord(c):08x}" for c in value) + '"'


def job_text(charset, columns, *sections):
    """The job file; columns as texts, or as TOML where they hold more than name and type."""
    lines = ["[job]", f"charset = {toml(charset)}"]
    lines += [f"{key} = {toml(value)}" for name, keys in sections if name == "job" for key, value in keys.items()]
    lines += ["", "[schema]", "columns = [" + ", ".join(c if c.startswith("{") else f"'{c}'" for c in columns) + "]"]
    for name, keys in sections:
        if name != "job":
            lines += ["", f"[{name}]"] + [f"{key} = {toml(value)}" for key, value in keys.items()]
    return "\n".join(lines) + "\n"


def sized(rng, type_name, utf16=False):
    digits = f"({rng.randint(0, 6)})"
    if type_name == "DECIMAL":
        precision = rng.randint(1, 38)
        return f"DECIMAL({precision},{rng.randint(0, precision)})"
    if type_name == "NUMBER":
        return rng.choice(["NUMBER", "NUMBER(38,5)", "NUMBER(9,2)", "NUMBER(20)"])
    if type_name in SECONDS:
        return type_name.replace("{}", digits) if "{}" in type_name else type_name + digits
    if type_name in SIZED:
        length = rng.choice([1, 2, 3, 7, 8, 20, 60, 200])
        return f"{type_name}({length * 2 if utf16 else length})"
    return type_name


def some_columns(rng, types, utf16, long=False):
    count = rng.choice([1, 1, 2, 3, 5, 8, 9, 16, 17, 40, 300])
    columns = [f"c{i} {sized(rng, rng.choice(types), utf16)}" for i in range(count)]
    if long and rng.random() < 0.1:
        columns[-1] = f"c{count - 1} VARCHAR(30000)"
    return columns


def binary_job(rng):
    charset = rng.choice(["UTF8", "UTF8", "UTF16", "ASCII"])
    types = [t for t in SIZED + PLAIN + SECONDS + ["DECIMAL", "DECIMAL"] if not (charset == "UTF16" and "ANSIDATE" in t)]
    attributes = {"Format": rng.choice(BINARY)}
    indicators = rng.random() < 0.6
    if indicators:
        attributes["IndicatorMode"] = "Yes"
    columns = some_columns(rng, types, charset == "UTF16", long=True)
    made = {"edges": True, "nulls": rng.choice([0, 10, 50]) if indicators else 0,
            "text": rng.choice(["all", "plain"]) if charset != "ASCII" else "marks"}
    return charset, columns, made, attributes, {}, {}


def text_job(rng):
    charset = rng.choice(["UTF8", "UTF8", "UTF16"])
    columns = some_columns(rng, ["CHAR", "CHAR", "ANSIDATE"] if charset == "UTF8" else ["CHAR"], charset == "UTF16")
    made = {"edges": True, "text": rng.choice(["plain", "utf8"])}
    return charset, columns, made, {"Format": "Text"}, bom(rng), {}


def bom(rng):
    return {"WriteBOM": "Yes"} if rng.random() < 0.2 else {}


def delimited_job(rng):
    charset = rng.choice(["UTF8", "UTF8", "UTF16"])
    way = rng.choice(["Yes", "Optional", "Optional", "escape", "plain"])
    quoted = way in ("Yes", "Optional")
    columns = some_columns(rng, CHARACTER if quoted else NEVER_EMPTY, charset == "UTF16", long=charset == "UTF8" and not quoted)
    attributes = {"Format": "Delimited", "TextDelimiter": rng.choice([",", "|", "TAB", "::", "¬", "a~b"])}
    made = {"edges": True, "text": "all", "nulls": rng.choice([0, 20])}
    reading = {}
    if quoted:
        attributes["QuotedData"] = way
        opened, closed = rng.choice([('"', None), ("'", None), ("<<", ">>"), ("\u00b4", None), ("[", "]")])
        if opened != '"':
            attributes["OpenQuoteMark"] = opened
        if closed:
            attributes["CloseQuoteMark"] = closed
        if rng.random() < 0.3:
            attributes["EscapeQuoteDelimiter"] = rng.choice(["^", "^^"])
    else:
        # Nothing but the quotes keeps an empty text from being NULL, and a line end from ending a record.
        made = {"text": rng.choice(["plain", "utf8"]), "nulls": made["nulls"]}
        if made["nulls"] == 0 and len(columns) > 1 and rng.random() < 0.5:
            made["edges"] = True
            reading["NullColumns"] = "No"
        if way == "escape":
            attributes["TextDelimiter"] = rng.choice(["e", "Ab", "\u00e9"])
            attributes["EscapeTextDelimiter"] = rng.choice(["^", "^^"])
    if len(columns) == 1:
        made["nulls"] = 0  # a row without a byte leaves no record, which the writer tells
    writing = bom(rng)
    if rng.random() < 0.2:
        writing["AppendDelimiter"] = "Yes"
    return charset, columns, made, attributes, writing, reading
