# SPDX-License-Identifier: MIT
"""Every block of code in the documents is run, compared with its file, or marked with the reason why not.

The comment before a block says what it is: "run", "run on BOARD" (a simulated device), either with ": SHELL" to prepare
it; "file NAME", to save it in the document's folder; the name of a file of the tree, which it quotes; "not run: REASON";
or "text". In a session, lines behind "$ " are commands, the other lines are their output, and "..." is any text."""
import os
import pathlib
import re
import shlex
import subprocess
import tempfile
import textwrap
import unittest

BUILD, SOURCE = os.environ["KVRN_BUILD"], pathlib.Path(os.environ["KVRN_SOURCE"])
BLOCK = re.compile(r"(?:^ *<!-- ([^\n]*) -->\n\n)?((?:^ {4}[^\n]*\n(?:\n+(?= {4}))?)+|^```[^`]*^```$)", re.M)
PROMPT = re.compile(r"^\S*\$ (.*)", re.M)


def session(block):
    """A script that prints the session: each command, and what it prints."""
    return "\n".join(f"echo {shlex.quote(found.group())}\n{found.group(1)}" for found in PROMPT.finditer(block))


class Documents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        prefix = cls.folder.name + "/usr"
        subprocess.run(["cmake", "--install", BUILD, "--prefix", prefix], check=True, capture_output=True)
        libraries = next(pathlib.Path(prefix).glob("**/pkgconfig")).parent
        cls.environment = {**os.environ, "PATH": f"{prefix}/bin:{prefix}/sbin:{os.environ['PATH']}",
                           "CMAKE_PREFIX_PATH": prefix, "PKG_CONFIG_PATH": f"{libraries}/pkgconfig", "LD_LIBRARY_PATH": str(libraries)}

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def run_block(self, mark, block, folder):
        board, prepare = re.fullmatch(r"run(?: on ([\w-]+))?(?:: (.*))?", mark).groups()
        is_session = PROMPT.match(block) is not None
        script = f"{'' if is_session else 'set -e'}\n{prepare or ''}\n{session(block) if is_session else block}\n"
        command = ["bash", "-c", script]
        if board:
            device = tempfile.mkdtemp(dir=folder)
            subprocess.run(["kvrn-sim", "new", device, "--board", board], check=True, env=self.environment)
            command = ["kvrn-sim", "run", device, "--", *command]
        done = subprocess.run(command, cwd=folder, env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=120)
        if is_session:
            if not re.fullmatch(re.escape(block.strip()).replace(r"\.\.\.", ".*"), done.stdout.strip()):
                self.assertMultiLineEqual(block.strip(), done.stdout.strip())
        else:
            self.assertEqual(done.returncode, 0, done.stdout)

    def test_blocks(self):
        for document in sorted([*SOURCE.glob("*.md"), *SOURCE.glob("docs/*.md")]):
            with tempfile.TemporaryDirectory(dir=self.folder.name) as folder:
                os.symlink(SOURCE / "examples", folder + "/examples")
                for mark, block in BLOCK.findall(document.read_text()):
                    block = textwrap.dedent(block)
                    with self.subTest(document.name, mark=mark, block=block.split("\n")[0]):
                        self.assertTrue(mark, "no comment before the block says what it is")
                        if mark.startswith("run"):
                            self.run_block(mark, block, folder)
                        elif mark.startswith("file "):
                            pathlib.Path(folder, mark[5:]).write_text(block)
                        elif not re.fullmatch("text|not run: .+", mark):
                            self.assertEqual(block.rstrip(), (SOURCE / mark).read_text().rstrip())
