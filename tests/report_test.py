"""The backup's report, as a browser shows it: CHROMIUM names the program."""

import html
import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest
import urllib.parse

from programs import ROOT, Case

sys.path.insert(0, str(ROOT / "hosts" / "python"))
from report import Failure, Report, SavedFile, write_report  # noqa: E402

PICTURE = ROOT / "examples" / "media" / "2023-summer" / "IMG_0001.JPG"
DAY = 86400
EVIL = "\"'><script>alert(1)</script><img src=x onerror=alert(2)>&amp;"
NAMES = [EVIL.replace("/", "_") + ".jpg", "-a #b?c%41&d=+e;.jpg", "a:b\\c.JPEG",
         "\u202egpj.\n\x1b.jpg", "été 日本 🏔.jpg", os.fsdecode(b"\xff\xc3.jpg"), "W" * 200 + ".jpg"]

# Runs under the page's own policy, with which it is only let in. What the policy blocks it tells.
PROBE = """<style>.grid li { content-visibility: visible !important }</style><script nonce=probe>
const blocked = [];
addEventListener("securitypolicyviolation", (event) => blocked.push(event.blockedURI));
addEventListener("load", () => {
  for (const details of document.querySelectorAll("details")) details.open = true;
  const all = (selector, of) => [...document.querySelectorAll(selector)].map(of);
  parent.postMessage({ blocked, spare: innerWidth - document.documentElement.scrollWidth,
    title: document.title, text: document.body.innerText.replace(/\\n+/g, "\\n"),
    links: all("li a, .with a", (link) => link.getAttribute("href")),
    pictures: all("img", (image) => image.complete && image.naturalWidth > 0),
    boxes: all(".box", (box) => Math.abs(box.offsetWidth - box.offsetHeight) < 2 &&
      box.offsetWidth > 100 && box.offsetWidth < 200).every(Boolean),
    bars: all("rect", (bar) => [bar.textContent, Number(bar.getAttribute("height"))]) }, "*");
});
</script>"""

FRAMES = """<!doctype html><pre></pre>
<script>addEventListener("message", (message) =>
  document.querySelector("pre").append(JSON.stringify(message.data) + "\\n"));</script>
<iframe src=probe.html width=360 height=800></iframe>"""


class ReportTest(Case):
    def setUp(self):
        super().setUp()
        self.folder /= "with space #1"
        self.folder.mkdir()

    def saved(self, name, created, media_type="photo", resource_type=1, shown=None):
        path = self.folder / "files" / name
        path.parent.mkdir(exist_ok=True)
        shutil.copy(PICTURE, path)
        return SavedFile(path, shown or name, created, media_type, resource_type, 1_000_000)

    def seen(self, files, failures=(), finished=True):
        """What the page tells at the width of a phone."""
        page = self.folder / "pages" / "report.html"
        page.parent.mkdir(exist_ok=True)
        write_report(page, Report(pathlib.Path("/", 200 * "W"), files, list(failures), 0, 2,
                                  finished, 1.7e9))
        policy, probed = "default-src 'none'", page.read_text(encoding="utf-8")
        self.assertEqual(probed.count(policy), 1)
        probed = probed.replace(policy, f"{policy}; script-src 'nonce-probe'")
        probed = probed.replace("<title>", PROBE + "<title>", 1).replace("loading=lazy", "")
        (page.parent / "probe.html").write_text(probed, encoding="utf-8")
        (page.parent / "frames.html").write_text(FRAMES, encoding="utf-8")
        shown = subprocess.run(
            [os.environ["CHROMIUM"], "--headless", "--no-sandbox", "--disable-gpu", "--dump-dom",
             "--virtual-time-budget=20000", f"--user-data-dir={self.folder}/profile",
             (page.parent / "frames.html").as_uri()],
            check=True, capture_output=True, encoding="utf-8", timeout=100).stdout
        seen = json.loads(html.unescape(shown[shown.index("<pre>") + 5:shown.index("</pre>")]))
        self.assertEqual((seen["blocked"], seen["boxes"]), ([], True))
        self.assertGreaterEqual(seen["spare"], 0)
        self.assertTrue(all(seen["pictures"]), seen["pictures"])
        for link in seen["links"]:
            path = os.path.join(os.fsencode(page.parent), urllib.parse.unquote_to_bytes(link))
            self.assertTrue(os.path.isfile(path), link)
        return seen

    def test_shows_every_file_by_date_whatever_it_is_called(self):
        files = [self.saved(name, (10 + place) * DAY) for place, name in enumerate(NAMES)]
        files += [self.saved("raw.DNG", 9 * DAY, "photo", 4), self.saved("later.png", 1e300),
                  self.saved("v.MOV", 8 * DAY, "video", 2), self.saved("nul.jpg", -1, shown="\0"),
                  self.saved("live.MOV", 40 * DAY, "photo", 9)]
        failures = [Failure(EVIL, EVIL, 5, EVIL), Failure("", "\u2028\ud800", 42, "a\nb")]
        page = self.seen(files, failures)
        self.assertEqual(page["title"], "2 files could not be saved")
        self.assertEqual(page["text"], (ROOT / "tests/report.txt").read_text(encoding="utf-8"))
        self.assertEqual(len(page["pictures"]), len(NAMES) + 2)
        self.assertEqual(page["bars"], [["December 1969: 1 file", 11.11],
                                        ["January 1970: 9 files", 100],
                                        ["February 1970: 1 file", 11.11]])

    def test_the_chart_and_the_pictures_take_many_years(self):
        picture = self.saved("a.jpg", 0)
        files = [SavedFile(picture.path, f"{month}", month * 30.5 * DAY, "photo", 1, 1)
                 for month in range(180)]
        page = self.seen(files, finished=False)
        self.assertEqual(page["title"], "The backup was interrupted")
        self.assertEqual(len(page["bars"]), page["text"].count("0.0 KB"))
        self.assertIn("\n1971\n1974\n1977\n1980\n1983\n", page["text"])
        self.assertEqual(self.seen([])["bars"], [])

    def test_is_written_whole_or_not_at_all(self):
        page = self.folder / "report.html"
        page.write_text("older")
        bad = SavedFile(self.folder / "\ud800", "", 0, "photo", 1, 1)
        with self.assertRaises(UnicodeEncodeError):
            write_report(page, Report(self.folder, [bad], [], 0, 0, True, 0))
        (self.folder / "files").mkdir()
        with self.assertRaises(OSError):
            write_report(self.folder / "files", Report(self.folder, [], [], 0, 0, True, 0))
        self.assertEqual(page.read_text(), "older")
        self.assertEqual(sorted(os.listdir(self.folder)), ["files", "report.html"])


if __name__ == "__main__":
    unittest.main()
