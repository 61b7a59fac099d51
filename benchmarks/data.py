# What rows are measured on: libraries, made once and kept in the folder $DATA, and room for copies.

import json
import math
import os
import pathlib
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = ROOT / "build/release"
SIM = PROGRAMS / "photos-sim"
DATA = pathlib.Path(os.environ["DATA"])
# For what one row needs, removed at its end: on the disk, and in memory where the system has that.
SCRATCH = DATA / "scratch"
MEMORY = pathlib.Path("/dev/shm/photos-helper-bench")
MIB, GIB = 1 << 20, 1 << 30


class NotRun(Exception):
    """The row can't be run on this machine, for no fault of anybody."""


def expect(is_true, otherwise):
    if not is_true:
        raise RuntimeError(otherwise)


def call(*words, stdout=subprocess.PIPE):
    done = subprocess.run([str(word) for word in words], stdin=subprocess.DEVNULL, stdout=stdout,
                          stderr=subprocess.PIPE, text=True, check=False)
    said = " ".join((done.stderr or done.stdout or "").split())
    expect(done.returncode == 0, f"{words[0]} failed: {said}")
    return done


def need_space(folder, size):
    needed = math.ceil(size / GIB) + 1  # and some to spare
    if shutil.disk_usage(folder).free < needed * GIB:
        raise NotRun(f"needs {needed} GiB free in {folder}")


def written(name, lines):
    with open(SCRATCH / name, "w", encoding="utf-8") as file:
        file.writelines(lines)
    return SCRATCH / name


def make_place(folder, size):
    if not folder.parent.is_dir():
        raise NotRun(f"there is no memory file system at {folder.parent}")
    folder.mkdir(exist_ok=True)
    need_space(folder, size)


# A library, made once and kept for later runs.
def kept(name, *source):
    if not (DATA / name).exists():
        call(SIM, "create", SCRATCH / name, *source)
        (SCRATCH / name).rename(DATA / name)
        os.sync()  # nothing of it is still being written when the clock starts
    return DATA / name


def synthetic(assets):
    need_space(DATA, 2000 * assets)  # all its summaries too
    return kept(f"synthetic-{assets}", "--synthetic", assets)


# A library of assets called 0, 1 and so on, each of a file of random bytes; and these files.
def of_files(count, size):
    name = f"files-{count}-{size}"
    if not (DATA / name).exists():
        need_space(DATA, 2 * count * size)
        for index in range(count):
            call("sh", "-c", 'head -c "$1" /dev/urandom >"$0"', SCRATCH / str(index), size)
    assets = [{"localIdentifier": str(index), "creationDate": 0, "resources": [
        {"type": 1, "originalFilename": "photo.jpg", "file": str(index)}]}
              for index in range(count)]
    description = json.dumps({"authorization": 3, "assets": assets})
    library = kept(name, "--from", written("description.json", description))
    digests = call("sqlite3", library / "library.sqlite",
                   "SELECT sha256 FROM resource ORDER BY asset").stdout
    return library, [library / "originals" / each[:2] / each for each in digests.split()]


# A library of assets with so many resources each.
def of_resources(assets, count):
    resources = [{"type": 1, "originalFilename": f"{index}.jpg", "size": 0}
                 for index in range(count)]
    asset = json.dumps({"creationDate": 0, "resources": resources})
    description = f'{{"authorization":3,"assets":[{",".join([asset] * assets)}]}}'
    return kept(f"resources-{assets}-{count}", "--from", written("description.json", description))
