"""What it takes to run the updater from outside and look at what it does: a home, an installation, packages, an update
server, a desktop, and hands and eyes on its windows. Nothing in here knows the updater's sources."""
