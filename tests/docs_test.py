"""What the documents say is so: links, versions, status words, sessions, the first host."""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
SIM = pathlib.Path(os.environ["BUILD"]) / "photos-sim"


def text_of(name):
    return (ROOT / name).read_text(encoding="utf-8")


def blocks(page, language):
    return re.findall(rf"(?ms)^```{language}\n(.*?)^```$", text_of(page))


def make_library(folder, description):
    file = folder / "description.json"
    file.write_text(description, encoding="utf-8")
    subprocess.run([SIM, "create", folder / "library", "--from", file], check=True)


class Documents(unittest.TestCase):
    def test_links_lead_somewhere(self):
        checked = subprocess.run([ROOT / "scripts/check_links", ROOT], capture_output=True,
                                 text=True)
        self.assertEqual((checked.returncode, checked.stderr), (0, ""))

    def test_the_version_is_cmakes_everywhere(self):
        version = re.search(r"(?m)^project\(\S+ VERSION (\S+)", text_of("CMakeLists.txt"))[1]
        self.assertEqual(re.search(r"(?m)^## (\S+)", text_of("CHANGELOG.md"))[1], version)
        for page in "docs/photos-helper.1", "docs/photos-sim.1":
            self.assertIn(f"\nThis is version {version}.\n", text_of(page))

    def test_each_status_word_is_explained(self):
        kinds = json.loads(text_of("protocol/schema/response.schema.json"))["oneOf"]
        words = {kind["properties"]["status"].get("const", "authorization_") for kind in kinds}
        for page in "docs/hosts.md", "docs/protocol.md", "docs/photos-helper.1":
            self.assertEqual([word for word in words if word not in text_of(page)], [], page)

    def test_the_manual_has_what_photos_sim_takes(self):
        def help_of(*words):
            return subprocess.run([SIM, *words, "--help"], check=True, text=True,
                                  capture_output=True).stdout

        commands = re.findall(r"(?m)^  ([a-z-]+)  ", help_of().partition("Subcommands:")[2])
        self.assertIn("serve", commands)
        for command in commands:
            options = re.findall(r"(?m)^ .*--([a-z-]+)", help_of(command))
            for word in [f"Cm {command}", *(f"Fl -{option}" for option in options)]:
                self.assertRegex(text_of("docs/photos-sim.1"), rf"{word}\b")

    def test_the_sessions_go_as_they_are_shown(self):
        sessions = blocks("docs/hosts.md", "transcript")
        self.assertGreater(len(sessions), 5)
        with tempfile.NamedTemporaryFile("w", encoding="utf-8") as transcript:
            transcript.write("".join(sessions))
            transcript.flush()
            played = subprocess.run([SIM, "play", transcript.name], capture_output=True, text=True)
        self.assertEqual(played.returncode, 0, played.stderr)

    def test_the_first_host_runs_as_it_stands(self):
        [host] = blocks("README.md", "python")
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            make_library(folder, text_of("tests/transcripts/every_answer.json"))
            path = f"{SIM.parent}:{os.environ['PATH']}"
            ran = subprocess.run([sys.executable, "-c", host], cwd=folder, check=True, text=True,
                                 env={**os.environ, "PATH": path}, capture_output=True)
            self.assertIn("IMG_0001.DNG", ran.stdout)


if __name__ == "__main__":
    unittest.main()
