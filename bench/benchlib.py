"""Shared measuring for the benchmark scripts: a command's wall time and peak
memory, and the zip -r -6 floor of a finished book."""
import os
import shutil
import subprocess
import sys
import time
import zipfile

# Runs the command in a fresh child so that its own peak memory is reported.
_PROBE = ("import resource,subprocess,sys,time;s=time.perf_counter();"
          "subprocess.run(sys.argv[1:],check=True,stdout=subprocess.DEVNULL);"
          "print(time.perf_counter()-s, resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)")


def measure(command, env=None):
    """(seconds, peak MB) of one run of command."""
    out = subprocess.run([sys.executable, "-c", _PROBE] + command, check=True,
                         capture_output=True, text=True, env=env).stdout.split()
    return float(out[0]), int(out[1]) / 1024


# As _PROBE, with the processor time (user + system), which the other jobs
# of a shared machine disturb less than the wall time.
_TIMES_PROBE = ("import resource,subprocess,sys,time;s=time.perf_counter();"
                "subprocess.run(sys.argv[1:],check=True,stdout=subprocess.DEVNULL);"
                "u=resource.getrusage(resource.RUSAGE_CHILDREN);"
                "print(time.perf_counter()-s, u.ru_utime+u.ru_stime, u.ru_maxrss)")


def measure_times(command):
    """(wall seconds, processor seconds, peak MB) of one run of command."""
    out = subprocess.run([sys.executable, "-c", _TIMES_PROBE] + command, check=True,
                         capture_output=True, text=True).stdout.split()
    return float(out[0]), float(out[1]), int(out[2]) / 1024


def zip_floor(epub, work):
    """Seconds that zip -r -6 takes to pack the unpacked book."""
    book_dir = os.path.join(work, "unpacked")
    shutil.rmtree(book_dir, ignore_errors=True)
    with zipfile.ZipFile(epub) as z:
        z.extractall(book_dir)
    floor = os.path.join(work, "floor.zip")
    if os.path.exists(floor):
        os.remove(floor)
    start = time.perf_counter()
    subprocess.run(["zip", "-r", "-6", "-q", floor, "."], cwd=book_dir, check=True)
    return time.perf_counter() - start


def creation_floor(work):
    """Seconds that a plain loop takes to write the unpacked book's files
    afresh (same names and sizes) on the file system that holds work: what
    the file system alone charges for creating that many files."""
    source = os.path.join(work, "unpacked")
    target = os.path.join(work, "created")
    shutil.rmtree(target, ignore_errors=True)
    files = []
    for root, _, names in os.walk(source):
        for name in names:
            path = os.path.join(root, name)
            with open(path, "rb") as f:
                files.append((os.path.join(target, os.path.relpath(path, source)), f.read()))
    start = time.perf_counter()
    for path, data in files:
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(data)
    seconds = time.perf_counter() - start
    shutil.rmtree(target)
    return seconds


def build_dir():
    if len(sys.argv) > 1:
        return os.path.abspath(sys.argv[1])
    return os.path.abspath(os.path.join(os.path.dirname(__file__), "..", "build"))


def file_system(path):
    """The type of the file system that holds path (ext2/ext3, tmpfs, ...)."""
    out = subprocess.run(["stat", "-f", "-c", "%T", path], capture_output=True, text=True)
    return out.stdout.strip() or "unknown"
