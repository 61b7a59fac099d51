#!/usr/bin/env python3
"""A tour of the protocol, as a host would take it: starts the helper, sends it requests and shows
each with its answer.

usage: tour.py PHOTOS_SIM LIBRARY FOLDER     the exported file goes to FOLDER
"""

import datetime
import json
import subprocess
import sys


class Helper:
    """A helper process. Closing its input ends it."""

    def __init__(self, command):
        self.process = subprocess.Popen(command, text=True, encoding="utf-8",
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def show(self, what, request):
        """Sends one line and shows it with the one line that answers it, which it returns."""
        line = request if isinstance(request, str) else json.dumps(request, ensure_ascii=False)
        print(f"\n{what}" if what else "", f"  -> {shown(line)}", sep="\n" if what else "")
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        answer = json.loads(self.process.stdout.readline())
        rest = {key: value for key, value in answer.items() if key != "assets"}
        print(f"  <- {shown(json.dumps(rest, ensure_ascii=False))}",
              " and assets:" if "assets" in answer else "", sep="")
        summaries = answer.get("assets", [])
        for summary in summaries[:20]:
            print("      ", summary_text(summary))
        if summaries[20:]:
            print(f"       ... and {len(summaries[20:])} more")
        return answer


def shown(text):
    """The text with what could change a terminal's state escaped."""
    return "".join(each if each.isprintable() else ascii(each)[1:-1] for each in text)


def summary_text(summary):
    taken = datetime.datetime.fromtimestamp(summary["createdAt"], datetime.timezone.utc)
    flags = [key for key, value in summary.items() if value is True]
    return "  ".join([f"{taken:%Y-%m-%d %H:%M:%S} UTC", summary["mediaType"],
                      f"{shown(summary['filename']):16}", f"type {summary['photoKitResourceType']}",
                      *flags, shown(summary["assetID"])])


def tour(helper, folder, put_back):
    helper.show("Nothing is answered before the user has granted access ...",
                {"command": "discover"})
    helper.show('... which "authorize" asks for.', {"command": "authorize"})
    page = helper.show("The library's photos and videos, oldest first ...",
                       {"command": "discover", "limit": 5})
    if "nextOffset" in page:
        helper.show("... page by page.",
                    {"command": "discover", "limit": 5, "offset": page["nextOffset"]})
    videos = {"command": "discover", "includePhotos": False, "limit": 500}
    page_of_videos = helper.show("Only videos.", videos)
    while not page_of_videos["assets"] and "nextOffset" in page_of_videos:
        page_of_videos = helper.show("(No video among these; the next page.)",
                                     {**videos, "offset": page_of_videos["nextOffset"]})
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
    put_back(first["assetID"])
    helper.show("A line that is no request gets its answer too, and the next one works.",
                '{"command":')
    helper.show("", {"command": "discover", "limit": 1})


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__.rstrip())
    sim, library, folder = sys.argv[1:]
    helper = Helper([sim, "serve", library])
    tour(helper, folder, lambda asset: subprocess.run(
        [sim, "recently-deleted", library, "--restore", asset], check=True))
    helper.process.communicate()


main()
