"""The exceptions raised for the library's result codes."""


class Error(Exception):
    """A library call failed; ``code`` holds its result code."""

    default_code = None

    def __init__(self, message="", code=None):
        super().__init__(message)
        self.code = self.default_code if code is None else code

    def __str__(self):
        text = super().__str__()
        return f"{text} (0x{self.code:08X})" if self.code is not None else text


class NoResultError(Error):
    """Nothing to report where a result was required (0x10000000)."""

    default_code = 0x10000000


class NullArgumentError(Error, ValueError):
    """A required handle or argument was missing (0x10000001)."""

    default_code = 0x10000001


class OutOfMemoryError(Error, MemoryError):
    """A block could not be obtained, or a required buffer does not exist (0x10000002)."""

    default_code = 0x10000002


class InvalidArgumentError(Error, ValueError):
    """An argument was out of range or sizes and formats did not match (0x10000003)."""

    default_code = 0x10000003


class FileError(Error, OSError):
    """A file could not be opened, read or written (0x10000004)."""

    default_code = 0x10000004


class LearningError(Error):
    """The background is not established yet, where one was required (0x10000006)."""

    default_code = 0x10000006


class SceneChangeError(Error):
    """A scene change, where it cannot be an ordinary outcome (0x10000007)."""

    default_code = 0x10000007


_BY_CODE = {cls.default_code: cls for cls in (NoResultError, NullArgumentError, OutOfMemoryError,
                                              InvalidArgumentError, FileError, LearningError, SceneChangeError)}


def error_for(code, message):
    """The exception for a result code: the class named for it, or Error for a code the library does not define."""
    return _BY_CODE.get(code, Error)(message, code)
