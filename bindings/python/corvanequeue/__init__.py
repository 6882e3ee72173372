"""Queued documents in the application's own process.

The object model of CorvaneQueue for Python: the members have the names that they have in C++, and
errors are exceptions. The module is plain Python over the library's C interface::

    from corvanequeue import Queue

    with Queue("Orders") as queue:
        queue.MsgType = "ORDER"
        queue.SendDocument("<order/>")
        for message in queue.receive():      # database store
            print(message.Body)
            queue.AcknowledgeDocument(message.ID)

The library is ``libCorvaneQueue.so.0``; the environment variable ``CORVANE_LIBRARY`` names another
file. An object belongs to the thread that created it.
"""

from __future__ import annotations

from collections.abc import Callable, Iterator
from contextlib import contextmanager

from ._handles import _Handle, _Number, _Text, _Time, _Truth
from ._library import Error, Object as _Object, listen, pump, version
from ._operations import Document, Operations, Statistics

__all__ = ["Document", "Error", "Message", "Messages", "Operations", "Queue", "Queues", "Statistics",
           "Utility", "pump", "version"]


class Message(_Handle):
    """A document in a list, or one that was received."""

    ID, Label, Body = _Text(), _Text(), _Text()
    BodyLength = _Number()
    SentTime = _Time()


class Messages(_Handle):
    """A list of messages as it was at its last ``Refresh``; it iterates over that."""

    def Refresh(self) -> None:
        self._object.call("Refresh")

    def __len__(self) -> int:
        return self._object.get("Count")

    def Item(self, key: int | str) -> Message:
        """By position, counted from 1, or by identifier."""
        return Message(self._object.get("Item", key))

    def __iter__(self) -> Iterator[Message]:
        for position in range(1, len(self) + 1):
            yield self.Item(position)


_Messages = Messages  # the class, where a member has its name


class Queue(_Handle):
    """A queue by its name, and the routing fields of what is sent through this object."""

    MsgType, MsgID, Object, ObjectID, Name, LastDocument = (_Text() for _ in range(6))
    Quota, JournalQuota, QueueSize = (_Number() for _ in range(3))
    JournalEnabled, CompressMessages = _Truth(), _Truth()

    def __init__(self, name: str, object: _Object | None = None) -> None:
        super().__init__(object or _Object.create("CorvaneQueue.Queue"))
        self._in_transaction = False
        if object is None:
            self._object.call("Initialize", name, False)

    def SendDocument(self, document: str) -> None:
        """Durable when it returns; in a transaction, when that is committed."""
        self._object.call("SendDocument", document)

    def ReceiveNext(self) -> Message | None:
        """The oldest document, which stays until it is acknowledged (database store)."""
        found = self._object.call("ReceiveNext")
        return None if found is None else Message(found)

    def receive(self) -> Iterator[Message]:
        """What waits, one after the other: acknowledge each one before the next."""
        while (message := self.ReceiveNext()) is not None:
            yield message

    def AcknowledgeDocument(self, identifier: str = "") -> None:
        self._object.call("AcknowledgeDocument", identifier)

    def SendMessage(self, message: Message) -> None:
        self._object.call("SendMessage", message._object)

    def AcknowledgeMessage(self, message: Message) -> None:
        self._object.call("AcknowledgeMessage", message._object)

    def IsEmpty(self) -> bool:
        return self._object.call("IsEmpty")

    def Purge(self) -> None:
        self._object.call("Purge")

    def Messages(self) -> _Messages:
        """Those that wait, as they are now."""
        return self._list(self._listed().get("Messages"))

    def Journal(self) -> _Messages:
        """Those that have been acknowledged, as they are now."""
        return self._list(self._listed().get("Journal").get("Messages"))

    def _listed(self) -> _Object:
        """The queue as the list of queues has it: with its messages and its journal."""
        return Queues().Item(self.Name)._object

    @staticmethod
    def _list(object: _Object) -> _Messages:
        messages = _Messages(object)
        messages.Refresh()
        return messages

    def BeginTransaction(self) -> None:
        self._object.call("BeginTransaction")

    def Commit(self) -> None:
        self._object.call("Commit")

    def Abort(self) -> None:
        self._object.call("Abort")

    @contextmanager
    def transaction(self) -> Iterator[None]:
        """Commits at the end of the ``with``, and aborts when an exception leaves it. One at a time."""
        if self._in_transaction:
            raise RuntimeError("a transaction of this queue object is open already")
        self.BeginTransaction()
        self._in_transaction = True
        try:
            yield
        except BaseException:
            self.Abort()
            raise
        else:
            self.Commit()
        finally:
            self._in_transaction = False

    @contextmanager
    def arrivals(self, handler: Callable[[str, str], None]) -> Iterator[None]:
        """Calls the handler with text and identifier of what arrives, inside ``pump`` (Message Queuing
        store). An exception of the handler comes out of ``pump``, and nothing more arrives: leaving the
        ``with`` puts the document back."""
        has_failed = False

        def noting(text: str, identifier: str) -> None:
            nonlocal has_failed
            has_failed = True
            handler(text, identifier)
            has_failed = False

        with listen(self._object, "evtArrived", noting):
            self._object.call("ReceiveEnable")
            try:
                yield
            finally:
                if has_failed:
                    self._object.call("Abort")
                self._object.call("ReceiveDisable")


class Queues(_Handle):
    """The queues of the store; iterates over them."""

    def __init__(self) -> None:
        super().__init__(_Object.create("CorvaneQueue.Queues"))

    def Exists(self, name: str) -> bool:
        return self._object.call("Exists", name)

    def Item(self, key: int | str) -> Queue:
        return Queue("", self._object.get("Item", key))

    def __len__(self) -> int:
        return self._object.get("Count")

    def __iter__(self) -> Iterator[Queue]:
        self._object.call("Refresh")
        for position in range(1, len(self) + 1):
            yield self.Item(position)


class Utility(_Handle):
    """The settings of the installation."""

    QueueStoreType = _Text()
    UsesPublicQueues = _Truth()

    def __init__(self) -> None:
        super().__init__(_Object.create("CorvaneQueue.Utility"))

    def CreateQueue(self, name: str) -> None:
        self._object.call("CreateQueue", name)
