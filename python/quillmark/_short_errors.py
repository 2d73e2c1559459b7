# SPDX-License-Identifier: MIT
"""Texts of errors that stay short, whatever arguments a call had."""

import functools

_LONGEST = 1000


def shorten_errors(module):
    """Cuts the TypeErrors about the arguments of a call, which show each of them in full."""
    for public in vars(module).values():
        if isinstance(public, type):
            for name, member in list(vars(public).items()):
                if isinstance(member, staticmethod):
                    setattr(public, name, staticmethod(_with_short_errors(member.__func__)))
                elif callable(member):
                    setattr(public, name, _with_short_errors(member))


def _with_short_errors(function):
    @functools.wraps(function)
    def call(*arguments, **named):
        try:
            return function(*arguments, **named)
        except BaseException as error:
            # Tools that show what a frame holds would ask an object that was not made for its text.
            arguments = named = None
            text = str(error) if isinstance(error, TypeError) else ""
            if "\nInvoked with: " not in text or len(text) <= _LONGEST:
                raise
            raise TypeError(text[:_LONGEST] + " …") from None

    return call
