"""What the updater asks of a web server, and what it makes of the answers: the cases from outside, on Windows."""

from outside.test_server import *  # noqa: F401, F403
