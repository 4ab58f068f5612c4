"""What the tests stand on: one run of the updater with all that belongs to it, servers, proxies, certificates."""
