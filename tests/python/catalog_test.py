"""The message catalog."""

from __future__ import annotations

import unittest
from typing import Any, cast

import annal
from support import SOURCES


class Catalog(unittest.TestCase):
    def test_fills_a_message(self) -> None:
        self.assertEqual(
            annal.catalog["A011"][7].fill(60),
            "[External Device] Detected UPS power loss. Shutting down NAS in 60 second(s).",
        )

    def test_has_every_row_of_every_application_in_order(self) -> None:
        for app_id, application in annal.catalog.items():
            rows = []
            for line in (SOURCES / "catalog" / "data" / f"{app_id}.tsv").read_text().splitlines():
                if line and not line.startswith("#"):
                    rows.append(tuple(line.split("\t")))
            found = [(m.app_id, str(m.level.value), m.category_id, m.number, m.template) for m in application.values()]
            self.assertEqual(found, rows)
        self.assertEqual(len(annal.catalog), len(list((SOURCES / "catalog" / "data").glob("*.tsv"))))

    def test_finds_messages_by_number_and_phrases_by_token(self) -> None:
        application = annal.catalog["A011"]
        self.assertEqual(application[7], application["7"])
        self.assertIn(7, application)
        self.assertNotIn(4711, application)
        self.assertEqual(application.name, "External Device")
        phrases = [message for message in application.values() if message.level == annal.CatalogLevel.PHRASE]
        for phrase in phrases:
            self.assertEqual(application[phrase.number], phrase)
        with self.assertRaisesRegex(KeyError, "A011 has no message 4711"):
            application[4711]
        with self.assertRaisesRegex(KeyError, "the catalog has no application 'A999'"):
            annal.catalog["A999"]

    def test_puts_phrases_in_place_of_tokens_in_values_too(self) -> None:
        with_phrases = [
            (application, message)
            for application in annal.catalog.values()
            for message in application.values()
            if message.level == annal.CatalogLevel.PHRASE
        ]
        self.assertTrue(with_phrases)
        application, phrase = with_phrases[0]
        message = annal.Message(application.id, annal.CatalogLevel.ERROR, "C001", "1", f"{{1}} {phrase.number} {{0}}")
        self.assertEqual(message.fill(phrase.number, "{0} %V"), f"{{0}} %V {phrase.template} {phrase.template}")

    def test_refuses_too_few_or_too_many_values(self) -> None:
        message = annal.catalog["A011"][7]
        for values in ((), (1, 2)):
            with self.assertRaisesRegex(ValueError, f"message 7 of A011 takes 1 value, not {len(values)}"):
                message.fill(*values)

    def test_fills_every_message_with_as_many_values_as_it_takes(self) -> None:
        for application in annal.catalog.values():
            for message in application.values():
                text = message.fill(*(f"<{i}>" for i in range(message.values)))
                self.assertNotRegex(text, r"\{\d+\}|%V\d{3}%")

    def test_rows_cannot_be_changed(self) -> None:
        with self.assertRaises(AttributeError):
            annal.catalog["A011"][7].template = "x"  # type: ignore[misc]
        with self.assertRaises(TypeError):
            cast(Any, annal.catalog)["A011"] = None


if __name__ == "__main__":
    unittest.main()
