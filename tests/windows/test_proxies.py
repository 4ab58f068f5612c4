"""Proxies as the application's login window sets them: the cases from outside, on Windows."""

from outside.test_proxies import *  # noqa: F401, F403
