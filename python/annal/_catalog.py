"""The messages that the appliance's applications log."""

from __future__ import annotations

import ctypes
import dataclasses
import re
from collections.abc import Iterator, Mapping
from ctypes import POINTER

from ._codes import CatalogLevel
from ._command import notify
from ._library import APPLICATIONS, library
from ._records import CatalogEntry

_PLACEHOLDER = re.compile(r"\{(\d+)\}")
_TOKEN = re.compile(r"%V\d{3}%")


@dataclasses.dataclass(frozen=True, slots=True)
class Message:
    """One message of the catalog, or a phrase that messages contain.

    :ivar app_id: "A" and three digits
    :ivar category_id: "C" and three digits; "[reserved]" without a category, and for a phrase
    :ivar number: decimal, as text; for a phrase its token, such as "%V002%"
    :ivar template: with the placeholders {0} to {20}; or the phrase
    """

    app_id: str
    level: CatalogLevel
    category_id: str
    number: str
    template: str

    @property
    def values(self) -> int:
        """How many values the template takes."""
        return max((int(place) + 1 for place in _PLACEHOLDER.findall(self.template)), default=0)

    def fill(self, *values: object) -> str:
        """The template with ``str()`` of the n-th value in place of each {n}, and phrases in place of their tokens.

        Placeholders in values are not filled; a token in a value becomes its phrase. Raises ValueError if there are too
        few or too many values.
        """
        self._require(values)
        text = _PLACEHOLDER.sub(lambda place: str(values[int(place[1])]), self.template)
        application = catalog[self.app_id]

        def phrase(token: re.Match[str]) -> str:
            return application[token[0]].template if token[0] in application else token[0]

        return _TOKEN.sub(phrase, text)

    def notify(
        self,
        *values: object,
        type: int = 0,
        level: CatalogLevel | None = None,
        address: str | None = None,
        user: str | None = None,
        computer: str | None = None,
        client_id: str | None = None,
        client_app: str | None = None,
        client_agent: str | None = None,
    ) -> None:
        """Starts the device's notification command for this message, without waiting for its end.

        :param values: one for each placeholder. At most 14 without any detail of the client, and one less for each
            detail
        :param type: any number of 32 bits
        :param level: None means the message's own level

        A client's id, application and agent that are None come from the variables HTTP_CLIENT_ID, HTTP_CLIENT_APP and
        HTTP_CLIENT_AGENT of the environment. Raises ValueError for too few, too many or too long values, and
        NotStartedError. The command's result is unknown.
        """
        self._require(values)
        entry = CatalogEntry(
            self.app_id.encode(), self.level, self.category_id.encode(), self.number.encode(), self.template.encode()
        )
        client = {
            "address": address,
            "user": user,
            "computer": computer,
            "client_id": client_id,
            "client_app": client_app,
            "client_agent": client_agent,
        }
        notify(entry, values, type, self.level if level is None else level, client)

    def _require(self, values: tuple[object, ...]) -> None:
        if len(values) != self.values:
            takes = f"{self.values} value{'' if self.values == 1 else 's'}"
            message = f"message {self.number} of {self.app_id}"
            raise ValueError(f"{message} takes {takes}, not {len(values)}: {self.template}")


class Application(Mapping[str, Message]):
    """An application's messages and phrases by their numbers: ``application[7]``, ``application["%V001%"]``.

    A mapping in the catalog's own order. Its keys are texts; a number may also be an int.
    """

    def __init__(self, app_id: str) -> None:
        self.id = app_id
        self._messages: dict[str, Message] | None = None

    @property
    def name(self) -> str:
        """The name at the start of its messages, such as "External Device"; empty if they start with a value."""
        for message in self.values():
            if message.template.startswith("["):
                name = message.template[1:].partition("]")[0]
                if "{" not in name:
                    return name
        return ""

    def _read(self) -> dict[str, Message]:
        # Two threads may both read it, with the same result.
        if self._messages is None:
            array = ctypes.cast(ctypes.byref(CatalogEntry.in_dll(library, f"{self.id}_list")), POINTER(CatalogEntry))
            messages = {}
            place = 1
            while (entry := array[place]).app_id is not None:
                message = Message(
                    entry.app_id.decode(),
                    CatalogLevel(entry.level),
                    entry.category_id.decode(),
                    entry.msg_no.decode(),
                    entry.msg_template.decode(),
                )
                messages[message.number] = message
                place += 1
            self._messages = messages
        return self._messages

    def __getitem__(self, number: str | int) -> Message:
        try:
            return self._read()[str(number)]
        except KeyError:
            raise KeyError(f"{self.id} has no message {number!r}") from None

    def __contains__(self, number: object) -> bool:
        return isinstance(number, (str, int)) and str(number) in self._read()

    def __iter__(self) -> Iterator[str]:
        return iter(self._read())

    def __len__(self) -> int:
        return len(self._read())

    def __repr__(self) -> str:
        return f"<annal.catalog[{self.id!r}]>"


class Catalog(Mapping[str, Application]):
    """The applications by their ids: ``annal.catalog["A011"][7].fill(60)``."""

    def __init__(self) -> None:
        self._applications = {app_id: Application(app_id) for app_id in APPLICATIONS}

    def __getitem__(self, app_id: str) -> Application:
        try:
            return self._applications[app_id]
        except KeyError:
            raise KeyError(f"the catalog has no application {app_id!r}") from None

    def __iter__(self) -> Iterator[str]:
        return iter(self._applications)

    def __len__(self) -> int:
        return len(self._applications)


catalog = Catalog()
"""The message catalog."""
