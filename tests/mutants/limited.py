"""Runs test programs that may hang, crash, or ask for all of the machine's memory."""

import collections
import os
import re
import shutil
import signal
import subprocess
import threading
import time

MEMORY_LIMIT = 8 << 20  # KiB of address space
FILE_LIMIT = 16 << 20   # blocks of 512 bytes; a test makes a file of 4 GiB with a hole

# `case` is the test case that failed or crashed, where the output names one.
Run = collections.namedtuple("Run", "passed timeout case processor_seconds wall_seconds")


def run(command, folder, processor_limit, wall_limit, memory_limit=MEMORY_LIMIT):
    """Runs a command in the folder `scratch` below `folder`, which is emptied before. Limits in seconds:
    that of the processor time stops endless loops, whatever else the machine is doing, and that of the
    wall clock threads that wait for each other. A memory limit of 0 means none."""
    scratch = os.path.join(folder, "scratch")
    shutil.rmtree(scratch, ignore_errors=True)
    os.makedirs(scratch)
    limits = ["ulimit -c 0", f"ulimit -f {FILE_LIMIT}", f"ulimit -S -t {processor_limit}"]
    if memory_limit:
        limits.append(f"ulimit -v {memory_limit}")
    environment = {**os.environ, "GTEST_FAIL_FAST": "1", "GTEST_COLOR": "no", "TMPDIR": scratch,
                   "TEST_TMPDIR": scratch}
    begin = time.monotonic()
    log_path = os.path.join(folder, "test.log")
    with open(log_path, "wb") as log:
        process = subprocess.Popen(
            ["sh", "-c", "; ".join([*limits, 'exec "$@"']), "sh", *map(str, command)], cwd=scratch,
            env=environment, stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT,
            start_new_session=True)
    late = threading.Event()
    alarm = threading.Timer(wall_limit, stop, (process.pid, late))
    alarm.start()
    _, status, usage = os.wait4(process.pid, 0)
    alarm.cancel()
    process.returncode = os.waitstatus_to_exitcode(status)
    return Run(passed=process.returncode == 0,
               timeout=late.is_set() or process.returncode == -signal.SIGXCPU,
               case=failed_case(log_path),
               processor_seconds=usage.ru_utime + usage.ru_stime,
               wall_seconds=time.monotonic() - begin)


def stop(process_group, late):
    late.set()
    try:
        os.killpg(process_group, signal.SIGKILL)
    except ProcessLookupError:
        pass


def failed_case(log_path):
    """The first failed case, or the last one that began, in the output of GoogleTest or CTest."""
    with open(log_path, "rb") as log:
        text = log.read(1 << 20).decode("utf-8", "replace")
    failed = re.search(r"^\[  FAILED  \] (\S+?),? |Test +#\d+: (\S+) \.*\**Failed", text, re.MULTILINE)
    if failed:
        return failed.group(1) or failed.group(2)
    begun = re.findall(r"^\[ RUN      \] (\S+)$", text, re.MULTILINE)
    return begun[-1] if begun else ""
