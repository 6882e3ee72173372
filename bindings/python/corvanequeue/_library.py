"""The C interface of the library, for the classes of this package."""

from __future__ import annotations

import ctypes
import math
import os
import threading
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from datetime import datetime, timedelta

_library = ctypes.CDLL(os.environ.get("CORVANE_LIBRARY", "libCorvaneQueue.so.0"))

_EMPTY, _TRUTH, _NUMBER, _REAL, _TIME, _TEXT, _OBJECT = range(7)
_CALL, _GET, _PUT = range(3)


class _Error(ctypes.Structure):
    _fields_ = [("number", ctypes.c_int32), ("source", ctypes.c_char_p), ("description", ctypes.c_char_p)]


class _Value(ctypes.Structure):
    _fields_ = [("kind", ctypes.c_int), ("number", ctypes.c_int64), ("real", ctypes.c_double),
                ("text", ctypes.POINTER(ctypes.c_char)), ("size", ctypes.c_size_t), ("object", ctypes.c_void_p)]


_Handler = ctypes.CFUNCTYPE(ctypes.c_bool, ctypes.c_void_p, ctypes.POINTER(_Value), ctypes.c_size_t)


def _declare(name: str, result: type | None, *arguments: type) -> Callable:
    function = getattr(_library, name)
    function.restype, function.argtypes = result, arguments
    return function


_ErrorPointer, _ValuePointer = ctypes.POINTER(_Error), ctypes.POINTER(_Value)
_version = _declare("corvaneVersion", ctypes.c_char_p)
_error_clear = _declare("corvane_error_clear", None, _ErrorPointer)
_value_clear = _declare("corvane_value_clear", None, _ValuePointer)
_create = _declare("corvane_create", ctypes.c_void_p, ctypes.c_char_p, _ErrorPointer)
_release = _declare("corvane_release", None, ctypes.c_void_p)
_invoke = _declare("corvane_invoke", ctypes.c_bool, ctypes.c_void_p, ctypes.c_int, ctypes.c_char_p,
                   _ValuePointer, ctypes.c_size_t, _ValuePointer, _ErrorPointer)
_listen = _declare("corvane_listen", ctypes.c_void_p, ctypes.c_void_p, ctypes.c_char_p, _Handler,
                   ctypes.c_void_p, _ErrorPointer)
_pump = _declare("corvane_pump", ctypes.c_bool, ctypes.c_int32, _ErrorPointer)


class Error(Exception):
    """A call that failed: ``number`` as in the library's table of errors, ``source``, ``description``."""

    def __init__(self, number: int, source: str, description: str) -> None:
        super().__init__(description)
        self.number, self.source, self.description = number, source, description


class _Raised(threading.local):
    """What handlers raised in this thread comes out of the call in which they were run: the first of it."""

    def __init__(self) -> None:
        self.all: list[BaseException] = []


_raised = _Raised()


def _called(call: Callable[[_Error], object]) -> object:
    """The result of a call of the library, or its error."""
    before, error = len(_raised.all), _Error()
    result = call(error)
    raised = _raised.all[before:]
    del _raised.all[before:]
    if result:
        return result
    found = Error(error.number & 0xFFFFFFFF, (error.source or b"").decode(), (error.description or b"").decode())
    _error_clear(ctypes.byref(error))
    if raised:
        raise raised[0] from found
    raise found


def _value_of(given: object) -> _Value:
    value = _Value()
    if given is None:
        value.kind = _OBJECT
    elif isinstance(given, bool):
        value.kind, value.number = _TRUTH, given
    elif isinstance(given, int):
        if not -(2**63) <= given < 2**63:
            raise OverflowError(f"{given} has more than 64 bits")
        value.kind, value.number = _NUMBER, given
    elif isinstance(given, float):
        value.kind, value.real = _REAL, given
    elif isinstance(given, str):
        text = given.encode("utf-8")
        value.kind, value.size = _TEXT, len(text)
        value.text = ctypes.cast(ctypes.create_string_buffer(text, len(text) + 1), ctypes.POINTER(ctypes.c_char))
    elif isinstance(given, Object):
        value.kind, value.object = _OBJECT, given.handle
    else:
        raise TypeError(f"{type(given).__name__} cannot be given to the library")
    return value


def _result_of(value: _Value, takes: bool = True) -> object:
    if value.kind == _TRUTH:
        return bool(value.number)
    if value.kind == _NUMBER:
        return value.number
    if value.kind == _REAL:
        return value.real
    if value.kind == _TIME:
        return datetime(1970, 1, 1) + timedelta(seconds=value.real)
    if value.kind == _TEXT:
        text = ctypes.string_at(value.text, value.size).decode("utf-8")
        if takes:
            _value_clear(ctypes.byref(value))
        return text
    if value.kind == _OBJECT and value.object:
        return Object(value.object)
    return None


class Object:
    """A handle of the library; its members by their names."""

    def __init__(self, handle: int | None) -> None:
        self.handle = handle

    @classmethod
    def create(cls, name: str) -> Object:
        return cls(_called(lambda error: _create(name.encode(), ctypes.byref(error))))

    def close(self) -> None:
        handle, self.handle = self.handle, None
        if handle:
            _release(handle)

    __del__ = close

    def _invoke(self, use: int, member: str, arguments: tuple) -> object:
        given = [_value_of(each) for each in arguments]  # keeps their texts
        values = (_Value * max(1, len(given)))(*given)
        result = _Value()
        _called(lambda error: _invoke(self.handle, use, member.encode(), values, len(given), ctypes.byref(result),
                                      ctypes.byref(error)))
        return _result_of(result)

    def call(self, member: str, *arguments: object) -> object:
        return self._invoke(_CALL, member, arguments)

    def get(self, member: str, *arguments: object) -> object:
        return self._invoke(_GET, member, arguments)

    def put(self, member: str, value: object) -> None:
        self._invoke(_PUT, member, (value,))


@contextmanager
def listen(source: Object, event: str, handler: Callable[..., None]) -> Iterator[None]:
    def called(_: object, values: ctypes.Array, count: int) -> bool:
        try:
            handler(*(_result_of(values[i], takes=False) for i in range(count)))
            return True
        except BaseException as exception:
            _raised.all.append(exception)
            return False

    callback = _Handler(called)
    listener = _called(lambda error: _listen(source.handle, event.encode(), callback, None, ctypes.byref(error)))
    try:
        yield
    finally:
        _release(listener)


def pump(seconds: float) -> None:
    """Delivers the events of this thread's objects: waits for something to deliver, at most so long; without
    end for a negative time. It may return earlier."""
    end = math.inf if seconds < 0 else time.monotonic() + seconds
    while True:  # Ctrl-C comes out between calls of the library
        begin = time.monotonic()
        wait = min(0.1, max(0.0, end - begin))
        _called(lambda error: _pump(math.ceil(wait * 1000), ctypes.byref(error)))
        now = time.monotonic()
        if now - begin < wait or now >= end:
            return


def version() -> str:
    """That of the library."""
    return _version().decode()
