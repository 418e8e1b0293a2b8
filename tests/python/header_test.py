"""Structures, codes, functions and texts that the package repeats are those of the header."""

from __future__ import annotations

import ctypes
import enum
import pathlib
import re
import subprocess
import tempfile
import unittest
from ctypes import POINTER, c_char_p, c_int, c_int64, c_uint, c_void_p

import annal
from annal import _codes, _errors, _library, _records
from support import COMPILER, HEADER

TEXT = HEADER.read_text()

RECORDS = (
    _records.EventRecord,
    _records.ConnRecord,
    _records.NoticeRecord,
    _records.FileOpRecord,
    _records.CatalogEntry,
    _records.NoticeFacility,
)

# An enumeration of the package, the header's, and what its names begin with there.
ENUMERATIONS: tuple[tuple[type[enum.IntEnum], str, str], ...] = (
    (_codes.ResultCode, "annal_result", "ANNAL_"),
    (_codes.Level, "annal_level", "ANNAL_"),
    (_codes.Severity, "annal_severity", "ANNAL_SEVERITY_"),
    (_codes.ActionResult, "annal_action_result", "ANNAL_ACTION_"),
    (_codes.ColumnKind, "annal_column_kind", "ANNAL_COLUMN_"),
    (_codes.EventSelector, "annal_event_selector", "ANNAL_EVENT_DEL_"),
    (_codes.ConnSelector, "annal_conn_selector", "ANNAL_CONN_DEL_"),
    (_codes.FileOpSelector, "annal_fileop_selector", "ANNAL_FILEOP_DEL_"),
    (_codes.NoticeSelector, "annal_notice_selector", "ANNAL_NOTICE_DEL_"),
)

TYPES = {
    "int": c_int,
    "unsigned int": c_uint,
    "int64_t": c_int64,
    "char*": c_char_p,
    "const char*": c_char_p,
    "const void*": c_void_p,
    "int*": POINTER(c_int),
    "EventRecord*": POINTER(_records.EventRecord),
    "ConnRecord*": POINTER(_records.ConnRecord),
    "NoticeRecord*": POINTER(_records.NoticeRecord),
    "FileOpRecord*": POINTER(_records.FileOpRecord),
    "const CatalogEntry*": POINTER(_records.CatalogEntry),
}


def printed_by_c(lines: list[str]) -> dict[str, int]:
    """What a program in C, compiled with the header, prints: a name and a number each."""
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "values.c")
        source.write_text(
            '#include "Corix_annal.h"\n#include <stddef.h>\n#include <stdio.h>\nint main(void) {\n'
            + "\n".join(lines)
            + "\nreturn 0;\n}\n"
        )
        program = pathlib.Path(folder, "values")
        subprocess.run([COMPILER, "-std=gnu99", f"-I{HEADER.parent}", str(source), "-o", str(program)], check=True)
        output = subprocess.run([str(program)], check=True, capture_output=True, text=True).stdout
    return {name: int(number) for name, number in (line.split() for line in output.splitlines())}


def size_of(name: str, expression: str) -> str:
    return f'printf("{name} %lld\\n", (long long)({expression}));'


def names_in_header(enumeration: str) -> set[str]:
    body = re.search(rf"enum {enumeration} \{{(.*?)\}};", TEXT, re.DOTALL)
    assert body is not None
    return set(re.findall(r"\b(ANNAL_\w+)\s*=", body[1]))


class Header(unittest.TestCase):
    def test_records_have_the_sizes_and_offsets_that_c_has(self) -> None:
        lines, expected = [], {}
        for record in RECORDS:
            name = record.__name__
            lines.append(size_of(name, f"sizeof({name})"))
            expected[name] = ctypes.sizeof(record)
            for field, *_ in record._fields_:
                member = getattr(record, field)
                lines.append(size_of(f"{name}.{field}.offset", f"offsetof({name}, {field})"))
                lines.append(size_of(f"{name}.{field}.size", f"sizeof((({name}*)0)->{field})"))
                expected[f"{name}.{field}.offset"] = member.offset
                expected[f"{name}.{field}.size"] = member.size
        for field, *_ in _records.Tm._fields_:
            member = getattr(_records.Tm, field)
            lines.append(size_of(f"tm.{field}", f"offsetof(struct tm, {field})"))
            expected[f"tm.{field}"] = member.offset
        self.assertEqual(printed_by_c(lines), expected)

    def test_records_have_all_fields_of_the_header(self) -> None:
        for record in RECORDS:
            body = re.search(rf"typedef struct {record.__name__} \{{(.*?)\}}", TEXT, re.DOTALL)
            assert body is not None
            code = re.sub(r"/\*.*?\*/", "", body[1], flags=re.DOTALL)
            fields = []
            for declaration in code.split(";")[:-1]:
                fields += re.findall(r"(\w+)(?:\[\d+\])?\s*(?:,|$)", declaration)
            self.assertEqual([field for field, *_ in record._fields_], fields, record.__name__)

    def test_codes_are_those_of_the_header(self) -> None:
        lines, expected = [], {}
        for enumeration, in_c, prefix in ENUMERATIONS:
            names = {f"{prefix}{member.name}": member.value for member in enumeration}
            self.assertEqual(set(names), names_in_header(in_c))
            lines += [size_of(name, name) for name in names]
            expected.update(names)
        self.assertEqual(printed_by_c(lines), expected)

    def test_explanations_are_those_of_the_header(self) -> None:
        explained = dict(re.findall(r"ANNAL_(\w+) = -\d+,?\s*/\* (.*?) \*/", TEXT))
        self.assertEqual({error.code.name: error.explanation for error in _errors.ERRORS.values()}, explained)

    def test_each_code_has_an_exception_that_is_named_after_it(self) -> None:
        for code in _codes.ResultCode:
            if code is not _codes.ResultCode.OK:
                words = "".join(word.capitalize() for word in code.name.split("_"))
                error = getattr(annal, f"{words}Error")
                self.assertIs(_errors.ERRORS[code], error)
                self.assertIs(error.code, code)
                self.assertTrue(issubclass(error, annal.AnnalError))

    def test_functions_take_and_answer_what_the_header_says(self) -> None:
        for function, (result, arguments) in _library.FUNCTIONS.items():
            with self.subTest(function):
                declared = re.search(rf"ANNAL_API (\w+) {function}\((.*?)\) ANNAL_NOEXCEPT;", TEXT, re.DOTALL)
                assert declared is not None
                parameters = [] if declared[2] == "void" else re.split(r",\s*", declared[2])
                types = [re.sub(r"\s*\b\w+$", "", parameter) for parameter in parameters if parameter != "..."]
                self.assertIs(TYPES[declared[1]], result)
                self.assertEqual([TYPES[type_] for type_ in types], list(arguments))

    def test_the_release_is_that_of_the_header(self) -> None:
        self.assertIn(f'#define ANNAL_VERSION "{annal.__version__}"', TEXT)

    def test_the_catalogs_arrays_are_those_of_the_header(self) -> None:
        self.assertEqual(re.findall(r"const CatalogEntry (A\d{3})_list\[", TEXT), list(_library.APPLICATIONS))


if __name__ == "__main__":
    unittest.main()
