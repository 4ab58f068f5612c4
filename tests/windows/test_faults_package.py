"""Packages that are damaged, odd or hostile: the cases from outside, on Windows."""

from outside.test_faults_package import (test_damaged_package, test_name_that_leads_elsewhere,  # noqa: F401
                                         test_odd_package)
