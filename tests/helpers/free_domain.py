"""DDS domains that nothing else on this machine uses; see TestDomain.hpp, which follows the same rule."""
import os
import socket
import time

FIRST, LAST = 20, 100
_claims = []


def _ports_are_free(domain):
    for offset in (0, 10, 12, 14):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            try:
                probe.bind(("", 7400 + 250 * domain + offset))
            except OSError:
                return False
    return True


def free_domain():
    """A domain that is this process's until it ends."""
    count = LAST - FIRST + 1
    for _ in range(600):
        for i in range(count):
            domain = FIRST + (os.getpid() + i) % count
            claim = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
            try:
                claim.bind(f"\0orx-test-domain-{domain}")
            except OSError:
                claim.close()
                continue
            if _ports_are_free(domain):
                _claims.append(claim)
                return domain
            claim.close()
        time.sleep(0.1)
    raise RuntimeError("no DDS domain is free")
