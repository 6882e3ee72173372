"""What operators do."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import TYPE_CHECKING

from ._handles import _Handle, _Number, _Text, _Utc
from ._library import Object as _Object, listen

if TYPE_CHECKING:
    from . import Queue


class Statistics(_Handle):
    """What is in a queue."""

    Queue = _Text()
    Waiting, Held, Acknowledged, WaitingBytes, AcknowledgedBytes = (_Number() for _ in range(5))
    OldestWaiting, LastSent, LastAcknowledged = (_Utc() for _ in range(3))


_Statistics = Statistics


class Document(_Handle):
    """A document that a search has found."""

    ID, Label, MsgType, MsgID, Object, ObjectID, Failure, Body = (_Text() for _ in range(8))
    Length = _Number()
    SentTime, AcknowledgedTime = _Utc(), _Utc()


class Operations(_Handle):
    """What operators do. ``where`` is a text of conditions: ``MsgType equal "ORDER" and Body contains "x"``."""

    def __init__(self) -> None:
        super().__init__(_Object.create("CorvaneQueue.Operations"))

    def _filter(self, where: str) -> _Object:
        chosen = self._object.call("NewFilter")
        if where:
            chosen.put("Text", where)
        return chosen

    def Statistics(self, queue: str) -> _Statistics:
        return _Statistics(self._object.call("Statistics", queue))

    def Search(self, queue: str, where: str = "", *, journal: bool = False, newest_first: bool = False
               ) -> Iterator[Document]:
        """The documents, page by page as they are asked for."""
        found = self._object.call("Search", queue, journal, self._filter(where))
        found.put("Backward", newest_first)
        while found.call("NextPage"):
            for position in range(1, found.get("Count") + 1):
                yield Document(found.get("Item", position))

    def Send(self, queue: Queue, document: str) -> str:
        """Sends with the routing fields of the queue object; returns the identifier."""
        return self._object.call("Send", queue._object, document)

    def Delete(self, queue: str, where: str = "", *, journal: bool = False) -> int:
        return self._object.call("Delete", queue, journal, self._filter(where))

    def Acknowledge(self, queue: str, where: str = "") -> int:
        return self._object.call("Acknowledge", queue, self._filter(where))

    def Move(self, queue: str, to: str, where: str = "", *, journal: bool = False) -> int:
        return self._object.call("Move", queue, journal, to, self._filter(where))

    def Copy(self, queue: str, to: str, where: str = "", *, journal: bool = False) -> int:
        return self._object.call("Copy", queue, journal, to, self._filter(where))

    def Redrive(self, queue: str, where: str = "") -> int:
        return self._object.call("Redrive", queue, self._filter(where))

    def Export(self, queue: str, file: str, where: str = "", *, journal: bool = False) -> int:
        return self._object.call("Export", queue, journal, self._filter(where), file)

    def Import(self, file: str, queue: str) -> int:
        return self._object.call("Import", file, queue)

    def Prune(self, queue: str, *, older_than_seconds: int = -1, keep: int = -1, keep_kilobytes: int = -1) -> int:
        return self._object.call("Prune", queue, older_than_seconds, keep, keep_kilobytes)

    def SetJournalRule(self, queue: str, *, older_than_seconds: int = -1, keep: int = -1,
                       keep_kilobytes: int = -1) -> None:
        self._object.call("SetJournalRule", queue, older_than_seconds, keep, keep_kilobytes)

    def Compact(self) -> None:
        self._object.call("Compact")

    def DeleteQueue(self, queue: str, *, even_if_not_empty: bool = False) -> None:
        self._object.call("DeleteQueue", queue, even_if_not_empty)

    def Verify(self) -> list[str]:
        """A sentence for everything that is wrong; none when the store is sound."""
        return self._object.call("Verify").splitlines()

    def Backup(self, directory: str) -> None:
        self._object.call("Backup", directory)

    def Restore(self, directory: str) -> None:
        self._object.call("Restore", directory)

    def Cancel(self) -> None:
        """From a handler of ``progress``: ends the work that goes on."""
        self._object.call("Cancel")

    @contextmanager
    def progress(self, handler: Callable[[int, int], None]) -> Iterator[None]:
        """Calls the handler with how many are done, of how many, while work goes on."""
        with listen(self._object, "evtProgress", handler):
            yield
