"""What can go wrong, as exceptions."""

from __future__ import annotations

from typing import Optional

from .codes import code_name, code_text, describe_code, os_error


class MdpError(Exception):
    """Every failure of this package."""


class ConnectError(MdpError):
    """No connection to the service: it does not run, or someone else listens in its place.

    errno is the system's error number, or None where the system is not the cause.
    """

    def __init__(self, message: str, errno: Optional[int] = None) -> None:
        super().__init__(message)
        self.errno = errno


class TimedOut(MdpError, TimeoutError):
    """The time of a transaction or of a job ran out. What was asked for may still be done."""


class ConnectionClosed(MdpError):
    """The service closed the connection without an answer: it refuses the request."""


class TransportError(MdpError):
    """Sending or receiving failed."""


class ProtocolError(MdpError):
    """The answer does not have the form of one."""


class ArgumentError(MdpError, ValueError):
    """A value of the caller cannot be used; nothing was sent."""


class ObjectError(MdpError):
    """The object layer answered with an error code.

    code is its number, name its name ("OBJ_E_NOTSUPPORTED", empty where it has none), text what it means; errno is the
    error number of the operating system, or the exit status of a program, in a code of that family, and None otherwise.
    """

    def __init__(self, code: int, subject: str = "") -> None:
        super().__init__(code, subject)
        self.code = code
        self.subject = subject
        self.name = code_name(code)
        self.text = code_text(code)
        self.errno = os_error(code)

    def __str__(self) -> str:
        return f"{self.subject + ': ' if self.subject else ''}{describe_code(self.code)}"
