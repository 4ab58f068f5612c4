"""Transfers that go slowly, stop or break off: the cases from outside, on Windows."""

from outside.test_transfer import *  # noqa: F401, F403
