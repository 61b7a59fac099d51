#!/usr/bin/env python3
"""A tour of the protocol, as a host would take it: starts the helper, sends it requests and shows
each with its answer.

usage: tour.py PHOTOS_SIM LIBRARY FOLDER               the exported file goes to FOLDER
       tour.py PHOTOS_SIM --play TRANSCRIPT FOLDER     FOLDER gets the libraries of its sessions
"""

import datetime
import json
import pathlib
import subprocess
import sys


class Helper:
    """A helper process. Closing its input ends it."""

    def __init__(self, command, folder=None):
        self.process = subprocess.Popen(command, cwd=folder, text=True, encoding="utf-8",
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def show(self, what, request):
        """Sends one line and shows it with the one line that answers it, which it returns."""
        line = request if isinstance(request, str) else json.dumps(request, ensure_ascii=False)
        print(f"\n{what}" if what else "", f"  -> {line}", sep="\n" if what else "")
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        answer = json.loads(self.process.stdout.readline())
        rest = {key: value for key, value in answer.items() if key != "assets"}
        print(f"  <- {json.dumps(rest, ensure_ascii=False)}",
              " and assets:" if "assets" in answer else "", sep="")
        for summary in answer.get("assets", []):
            print("      ", summary_text(summary))
        return answer


def summary_text(summary):
    taken = datetime.datetime.fromtimestamp(summary["createdAt"], datetime.timezone.utc)
    flags = [key for key, value in summary.items() if value is True]
    return "  ".join([f"{taken:%Y-%m-%d %H:%M:%S} UTC", summary["mediaType"],
                      f"{summary['filename']:16}", f"type {summary['photoKitResourceType']}",
                      *flags, summary["assetID"]])


def tour(helper, folder):
    helper.show("Nothing is answered before the user has granted access ...",
                {"command": "discover"})
    helper.show('... which "authorize" asks for.', {"command": "authorize"})
    page = helper.show("The library's photos and videos, oldest first ...",
                       {"command": "discover", "limit": 5})
    if "nextOffset" in page:
        helper.show("... page by page.",
                    {"command": "discover", "limit": 5, "offset": page["nextOffset"]})
    helper.show("Only videos.", {"command": "discover", "includePhotos": False})
    if not page["assets"]:
        print("\nThe library is empty: no asset to show more with.")
        return
    first = page["assets"][0]
    named = {"assetID": first["assetID"], "photoKitResourceType": first["photoKitResourceType"]}
    helper.show("How many bytes one resource has.", {"command": "estimate", **named})
    helper.show("A copy of it, with its digest.",
                {"command": "export", **named, "destination": f"{folder}/{first['filename']}"})
    helper.show("The asset in the Photos application (here: whatever opens photos: URLs).",
                {"command": "open", "assetID": first["assetID"]})
    reclaim = {"command": "reclaim", "assetIDs": [first["assetID"]]}
    helper.show("Moved to Recently Deleted: it leaves the library at once, but is not lost.",
                reclaim)
    helper.show("", reclaim)
    helper.show("A line that is no request gets its answer too, and the next one works.",
                '{"command":')
    helper.show("", {"command": "discover", "limit": 1})


def play(sim, transcript, folder):
    """Shows the sessions of a transcript (tests/transcripts/README.md) as they go now."""
    helpers = []
    for line in transcript.read_text(encoding="utf-8").splitlines():
        mark, _, rest = line.partition(" ")
        if mark == "library:":
            print(f"\n=== Library: {rest}")
            folder = folder / "next"
            folder.mkdir(parents=True)
            description = transcript.parent / rest
            if rest.startswith("{"):
                description = folder / "description.json"
                description.write_text(rest, encoding="utf-8")
            if rest != "none":
                subprocess.run([sim, "create", folder / "Library", "--from", description],
                               check=True)
            helpers.append(Helper([sim, "serve", "Library"], folder))
        elif mark == ">":
            helpers[-1].show("", rest)
    for helper in helpers:
        helper.process.communicate()


def main():
    if len(sys.argv) == 5 and sys.argv[2] == "--play":
        play(pathlib.Path(sys.argv[1]).resolve(), *map(pathlib.Path, sys.argv[3:]))
    elif len(sys.argv) == 4:
        helper = Helper([sys.argv[1], "serve", sys.argv[2]])
        tour(helper, sys.argv[3])
        helper.process.communicate()
    else:
        sys.exit(__doc__.rstrip())


main()
