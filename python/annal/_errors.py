"""One exception for each result code, with the header's explanation of it."""

from __future__ import annotations

from typing import ClassVar

from ._codes import ResultCode


class AnnalError(Exception):
    """A failure of one of the library's functions, or of reading a log.

    Catch this one for any failure, or one of the classes below for one result code.

    :ivar code: the result code
    :ivar explanation: what the header says about the code
    :ivar function: the function that failed
    :ivar detail: what else is known about the failure; often empty, because the library reports only a code
    """

    code: ClassVar[ResultCode]
    explanation: ClassVar[str]

    def __init__(self, function: str, detail: str = "") -> None:
        super().__init__(function, detail)
        self.function = function
        self.detail = detail

    def __str__(self) -> str:
        detail = f" ({self.detail})" if self.detail else ""
        return f"{self.function}: {self.explanation}{detail} [ANNAL_{self.code.name}, {self.code.value}]"


class TooLongError(AnnalError, ValueError):
    """ANNAL_TOO_LONG. This package checks lengths itself, with a ValueError that names field and bound."""

    code = ResultCode.TOO_LONG
    explanation = "a text field of a record is longer than its bound"


class BadArgumentError(AnnalError, ValueError):
    """ANNAL_BAD_ARGUMENT. This package checks arguments itself, with a ValueError that names the argument."""

    code = ResultCode.BAD_ARGUMENT
    explanation = "a null pointer, a code out of range, or an invalid address"


class NoMemoryError(AnnalError, MemoryError):
    """ANNAL_NO_MEMORY."""

    code = ResultCode.NO_MEMORY
    explanation = "a buffer or a statement's text could not be allocated"


class OpenFailedError(AnnalError):
    """ANNAL_OPEN_FAILED: the log or its folder does not exist, or rights are missing."""

    code = ResultCode.OPEN_FAILED
    explanation = "the log's file could not be opened (or created)"


class TableFailedError(AnnalError):
    """ANNAL_TABLE_FAILED: when creating, usually because the log exists already."""

    code = ResultCode.TABLE_FAILED
    explanation = "creating or dropping a table failed, or the compaction"


class EmptyFailedError(AnnalError):
    """ANNAL_EMPTY_FAILED."""

    code = ResultCode.EMPTY_FAILED
    explanation = "emptying a whole table failed"


class InsertFailedError(AnnalError):
    """ANNAL_INSERT_FAILED: the log was never created, or is locked, damaged or on a full disk."""

    code = ResultCode.INSERT_FAILED
    explanation = "storing a new entry failed"


class QueryFailedError(AnnalError):
    """ANNAL_QUERY_FAILED: the log has no such table, or is locked or damaged."""

    code = ResultCode.QUERY_FAILED
    explanation = "a query failed, or its callback stopped it, or it gave no usable value"


class TriggerFailedError(AnnalError):
    """ANNAL_TRIGGER_FAILED."""

    code = ResultCode.TRIGGER_FAILED
    explanation = "creating the log-full trigger failed, or trimming to a size"


class RemoveTriggerFailedError(AnnalError):
    """ANNAL_REMOVE_TRIGGER_FAILED."""

    code = ResultCode.REMOVE_TRIGGER_FAILED
    explanation = "dropping the log-full trigger failed"


class ChangeFailedError(AnnalError):
    """ANNAL_CHANGE_FAILED: most functions that answer it do not wait for a lock, so a later try may succeed."""

    code = ResultCode.CHANGE_FAILED
    explanation = "a delete by selector, an added column or a migration failed"


class BatchFailedError(AnnalError):
    """ANNAL_BATCH_FAILED."""

    code = ResultCode.BATCH_FAILED
    explanation = "a batch could not begin"


ERRORS: dict[int, type[AnnalError]] = {
    error.code: error
    for error in (
        TooLongError,
        BadArgumentError,
        NoMemoryError,
        OpenFailedError,
        TableFailedError,
        EmptyFailedError,
        InsertFailedError,
        QueryFailedError,
        TriggerFailedError,
        RemoveTriggerFailedError,
        ChangeFailedError,
        BatchFailedError,
    )
}
