"""The vocabulary of the system tests and of the demonstration: an updater, its window, servers, offers, folders."""
