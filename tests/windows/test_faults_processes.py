"""Processes that fail, the killed updater among them: the cases from outside, on Windows."""

from outside.test_faults_processes import (server, test_exit_code, test_killed,  # noqa: F401
                                           test_killed_without_executable)
