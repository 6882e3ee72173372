"""What the classes of this package have in common."""

from __future__ import annotations

from datetime import datetime, timezone
from typing import Any

from ._library import Object


class _Text:
    """A property that is a text."""

    def __set_name__(self, owner: type, name: str) -> None:
        self.name = name

    def __get__(self, instance: Any, owner: type) -> str:
        return self if instance is None else instance._object.get(self.name)

    def __set__(self, instance: Any, value: str) -> None:
        instance._object.put(self.name, value)


class _Number(_Text):
    """A property that is a whole number."""

    def __get__(self, instance: Any, owner: type) -> int:
        return self if instance is None else instance._object.get(self.name)


class _Truth(_Text):
    """A property that is true or false."""

    def __get__(self, instance: Any, owner: type) -> bool:
        return self if instance is None else instance._object.get(self.name)


class _Time(_Text):
    """A time, None when there is none."""

    def __get__(self, instance: Any, owner: type) -> datetime | None:
        return self if instance is None else instance._object.get(self.name)


class _Utc(_Time):
    """A time in UTC."""

    def __get__(self, instance: Any, owner: type) -> datetime | None:
        if instance is None:
            return self
        time = instance._object.get(self.name)
        return None if time is None else time.replace(tzinfo=timezone.utc)


class _Handle:
    """Stands for an object of the library until it is closed."""

    def __init__(self, object: Object) -> None:
        self._object = object

    def __setattr__(self, name: str, value: object) -> None:
        if not name.startswith("_") and not hasattr(type(self), name):
            raise AttributeError(f"{type(self).__name__} has no property {name!r}")
        super().__setattr__(name, value)

    def close(self) -> None:
        """Lets go of the object. Leaving a ``with`` does the same."""
        self._object.close()

    def __enter__(self):
        return self

    def __exit__(self, *_: object) -> None:
        self.close()
