# SPDX-License-Identifier: MIT
"""A root that runs under its own service manager in a container. Needs root's rights."""
import os
import signal
import subprocess
import sys
import time

ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8", "HOME": "/root", "SYSTEMD_PAGER": ""}
# What would change the machine outside: its kernel and its clock.
WITHOUT = "-sys_module,-sys_time,-mknod,-syslog"


class Done:
    def __init__(self, status, out, seconds):
        self.status, self.out, self.seconds = status, out, seconds


class Booted:
    """The root runs while this is entered. Afterwards no process, mount or control group of it is left. When this program
    is killed, the kernel ends the manager, and the manager's namespaces end with it; only empty control groups stay."""

    def __init__(self, root, stderr):
        self.root, self.stderr, self.group, self.pid = root, stderr, f"kvrn-boot-{os.getpid()}", None

    def __enter__(self):
        script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "boot_root.sh")
        with open(self.stderr, "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "KILL", f"--bounding-set={WITHOUT}",
                 "unshare", "--mount", "--propagation", "private", script, self.root, self.group],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        try:
            self.wait_until_up()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        # As long as the process that holds the manager's namespaces is there, the manager can be ended by its number.
        if self.pid and self.process.poll() is None:
            os.kill(self.pid, signal.SIGKILL)
        else:
            self.process.kill()
        self.process.wait()
        self.remove_group()

    def remove_group(self):
        """The kernel removes a control group only when its last process is gone, which may take a moment."""
        script = ('mount -t cgroup2 cgroup2 /sys/fs/cgroup; cd /sys/fs/cgroup; [ -d "$1" ] || exit 0; '
                  'for try in $(seq 50); do find "$1" -depth -type d -exec rmdir {} + 2>/dev/null && exit 0; '
                  'sleep 0.1; done; exit 1')
        command = ["unshare", "--mount", "--propagation", "private", "sh", "-c", script, "sh", self.group]
        if subprocess.run(command, check=False).returncode != 0:
            print(f"the control group {self.group} is left", file=sys.stderr)

    def child(self):
        for name in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{name}/stat", encoding="utf-8") as file:
                    parent = int(file.read().rpartition(") ")[2].split()[1])
                if parent == self.process.pid and os.readlink(f"/proc/{name}/exe").endswith("/systemd"):
                    return int(name)
            except OSError:
                pass  # it has ended
        return None

    def wait_until_up(self, seconds=60):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if self.process.poll() is not None:
                sys.exit(f"the service manager did not start: see {self.stderr}")
            self.pid = self.pid or self.child()
            if self.pid and self.run("systemctl", "is-system-running", "--wait").out.strip() in ("running", "degraded"):
                return
            time.sleep(0.1)
        sys.exit(f"the root is not up after {seconds} s")

    def run(self, *words, user=None, env=None, seconds=60):
        """@return the status, 124 when it did not end in time, with output and errors"""
        where = ["nsenter", f"--target={self.pid}", "--mount", "--uts", "--ipc", "--net", "--pid", "--cgroup"]
        account = ["setpriv", f"--reuid={user}", f"--regid={user}", "--init-groups"] if user else []
        inside = [f"{name}={value}" for name, value in (env or {}).items()]
        start = time.monotonic()
        done = subprocess.run([*where, *account, "timeout", "-k1", str(seconds), "env", *inside, *words], check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              errors="replace", env=ENVIRONMENT)
        return Done(done.returncode, done.stdout, time.monotonic() - start)

    def wait_for_end(self, seconds):
        """@return whether the manager has ended by itself"""
        try:
            self.process.wait(seconds)
            return True
        except subprocess.TimeoutExpired:
            return False
