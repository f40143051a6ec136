# SPDX-License-Identifier: MIT
"""Prometheus and its exporters, as monitoring/ and docs/fleet.md set them up, on free loopback ports."""
import contextlib
import pathlib
import re
import socket
import subprocess
import sys
import time
import urllib.error
import urllib.request

from snmpd import free_port

FOLDER = pathlib.Path("monitoring").resolve()
DOCUMENT = pathlib.Path("docs/fleet.md").resolve()


def old_exporter():
    """Up to 0.22, a module of the exporter's settings holds the user, too."""
    text = subprocess.run(["prometheus-snmp-exporter", "--version"], check=True, capture_output=True, text=True)
    version = re.search(r"version (\d+)\.(\d+)", text.stdout + text.stderr)
    return (int(version[1]), int(version[2])) < (0, 23)


def suffix():
    return "-0.22" if old_exporter() else ""


@contextlib.contextmanager
def server(folder, program, *options):
    """Starts a server on a loopback port, and waits until it answers. @return its address and its process's number"""
    address = f"127.0.0.1:{free_port(socket.SOCK_STREAM)}"
    with open(f"{folder}/{program}.log", "w+", encoding="utf-8") as log:
        process = subprocess.Popen([program, *options, f"--web.listen-address={address}"], stdout=log, stderr=log)
        try:
            for _ in range(300):
                with contextlib.suppress(OSError):
                    urllib.request.urlopen(f"http://{address}/").close()
                    break
                time.sleep(0.1)
            else:
                sys.exit(f"{program} does not answer:\n{pathlib.Path(log.name).read_text(encoding='utf-8')}")
            yield address, process.pid
        finally:
            process.terminate()
            process.wait()


def fetch(url):
    try:
        with urllib.request.urlopen(url, timeout=30) as answer:
            return answer.read().decode()
    except urllib.error.HTTPError as error:
        sys.exit(f"{url}: {error.code} {error.read().decode()}")


def documented_user():
    """The line of the document that creates the user."""
    return re.search(r"echo '(createUser fleet .*)'", DOCUMENT.read_text(encoding="utf-8"))[1] + "\n"


def documented_access():
    """The user and the view of the document, as lines for snmpd."""
    lines = re.findall(r"^    ((?:view|rouser) fleet .*)$", DOCUMENT.read_text(encoding="utf-8"), re.M)
    return documented_user() + "\n".join(lines) + "\n"
