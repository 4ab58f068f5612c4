"""Which version the automatic mode takes: the cases from outside, on Windows."""

from outside.test_automatic_choice import *  # noqa: F401, F403
