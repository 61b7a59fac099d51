"""What the documents say is so: links, versions, status words, sessions, the first host."""

import json
import os
import re
import subprocess
import sys
import unittest

from programs import BUILD, ROOT, Case


def text_of(name):
    return (ROOT / name).read_text(encoding="utf-8")


def blocks(page, language):
    return re.findall(rf"(?ms)^```{language}\n(.*?)^```$", text_of(page))


class Documents(Case):
    def test_links_lead_somewhere(self):
        checked = subprocess.run([ROOT / "scripts/check_links", ROOT], capture_output=True,
                                 text=True, check=False)
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
        commands = re.findall(r"(?m)^  ([a-z-]+)  ",
                              self.sim("--help").partition("Subcommands:")[2])
        self.assertIn("serve", commands)
        for command in commands:
            options = re.findall(r"(?m)^ .*--([a-z-]+)", self.sim(command, "--help"))
            for word in [f"Cm {command}", *(f"Fl -{option}" for option in options)]:
                self.assertRegex(text_of("docs/photos-sim.1"), rf"{word}\b")

    def test_the_sessions_go_as_they_are_shown(self):
        sessions = blocks("docs/hosts.md", "transcript")
        self.assertGreater(len(sessions), 5)
        (self.folder / "transcript").write_text("".join(sessions), encoding="utf-8")
        self.sim("play", "transcript")

    def test_the_first_host_runs_as_it_stands(self):
        [host] = blocks("README.md", "python")
        self.sim("create", "library", "--from", ROOT / "tests/transcripts/every_answer.json")
        path = f"{BUILD}:{os.environ['PATH']}"
        ran = subprocess.run([sys.executable, "-c", host], cwd=self.folder, check=True, text=True,
                             env={**os.environ, "PATH": path}, capture_output=True)
        self.assertIn("IMG_0001.DNG", ran.stdout)


if __name__ == "__main__":
    unittest.main()
