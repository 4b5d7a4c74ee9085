"""Waiting for what another process does: by asking until it is so, never for a fixed time."""

import select
import time

from gi.repository import GLib

# Only ends a failing test: a busy machine may take its time.
LIMIT_IN_SECONDS = 30
_PAUSE_IN_SECONDS = 0.01


def eventually(question, what):
    """The first answer of `question` that counts as true. A question about something that has
    just gone has no answer yet."""
    deadline = time.monotonic() + LIMIT_IN_SECONDS
    while True:
        try:
            if answer := question():
                return answer
            problem = None
        except GLib.Error as error:
            problem = error
        if time.monotonic() > deadline:
            raise AssertionError(f"{what}: not within {LIMIT_IN_SECONDS} seconds") from problem
        select.select([], [], [], _PAUSE_IN_SECONDS)  # lets the other process have the processor


def expect_soon(question, expected):
    """That `question` comes to answer `expected`."""
    last = None

    def is_expected():
        nonlocal last
        last = question()
        return last == expected

    try:
        eventually(is_expected, "expected answer")
    except AssertionError as error:
        raise AssertionError(f"expected {expected!r}, last answer {last!r}") from error


def answer(question):
    """The answer of `question`, whatever it is, asked again when something has just gone."""
    return eventually(lambda: (question(),), "an answer")[0]


def settled(question):
    """The answer of `question` once it stays the same."""
    answers = [None]

    def is_the_same():
        answers.append(question())
        return len(answers) > 10 and all(answer == answers[-1] for answer in answers[-10:])

    eventually(is_the_same, "an answer that stays")
    return answers[-1]
