"""The tests that should notice a mutant: the unit tests in the order that ends soonest, and for locks the races."""
import json
import os
import re
import signal
import subprocess
import time

SLOW = 0.12  # seconds; slower tests run last
SHARDS = 3
PATIENCE = 10  # times the duration of the tests on unchanged sources
SHORTEST_PATIENCE = 20  # seconds
RACES = [50, 500, 1]  # the arguments of prove_races
LONGEST_RACES = 600  # seconds; the program ends itself when it finds a deadlock


class Cases:
    """The cases of the unit tests: how long each takes, and its folder of src/."""

    def __init__(self, build):
        program, results = build.folder / "tests/unit/unit_tests", build.folder / "cases.json"
        if not results.exists() or results.stat().st_mtime < program.stat().st_mtime:
            subprocess.run([program, f"--gtest_output=json:{results}"], stdout=subprocess.DEVNULL, check=True)
        self.slow, self.suites, self.seconds = [], {}, 0
        for suite in json.loads(results.read_text())["testsuites"]:
            for case in suite["testsuite"]:
                seconds = float(case["time"].rstrip("s"))
                self.seconds += seconds
                area = case["file"].partition("/tests/unit/")[2].split("/")[0]
                self.suites.setdefault(area, set()).add(suite["name"])
                if seconds > SLOW:
                    self.slow.append(f"{suite['name']}.{case['name']}")

    def patience(self):
        return max(SHORTEST_PATIENCE, PATIENCE * self.seconds / SHARDS)

    def near(self, file):
        """A GoogleTest filter for the tests of the file's folder."""
        return ":".join(f"{suite}.*" for suite in sorted(self.suites.get(file.split("/")[1], [])))

    def stages(self, file):
        """GoogleTest filters, each with a number of processes: the tests of the file's folder, the others, the slow ones."""
        near = self.near(file)
        slow = ":".join(self.slow)
        stages = [(f"{near}-{slow}", 1)] if near else []
        stages.append((f"*-{slow}:{near}", SHARDS))
        return stages + ([(slow, SHARDS)] if slow else [])

    def threaded_stages(self, file):
        """The same for the program under ThreadSanitizer, which has only tests with threads: those of the file's folder, then the others."""
        near = self.near(file)
        return [(near, 1), (f"*-{near}", 1)] if near else [("*", 1)]


class Ended(Exception):
    """A mutant is killed; the message names what killed it."""


def end(process):
    if process.poll() is None:
        os.killpg(process.pid, signal.SIGKILL)
    process.wait()


def start(command, shard, shards, output, environment):
    sharded = dict(environment, GTEST_TOTAL_SHARDS=str(shards), GTEST_SHARD_INDEX=str(shard))
    return subprocess.Popen([str(word) for word in command], stdout=output, stderr=subprocess.STDOUT, env=sharded,
                            stdin=subprocess.DEVNULL, start_new_session=True)


def why(path, result):
    """Why a run failed: a case that failed, or the case that was running, and the signal that ended the run."""
    output = path.read_text(errors="replace")
    if "ThreadSanitizer" in output:
        return "ThreadSanitizer"
    failed = re.findall(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", output, re.MULTILINE)
    running = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
    signal_name = f" (signal {-result})" if result is not None and result < 0 else ""
    return (failed or running or ["its end"])[-1] + signal_name


def run_all(command, shards, patience, folder, environment):
    """Runs a command in several processes; raises Ended with the first that fails, or when time is up."""
    paths = [folder / f"output-{shard}" for shard in range(shards)]
    outputs = [path.open("w") for path in paths]
    processes = [start(command, shard, shards, outputs[shard], environment) for shard in range(shards)]
    last = time.monotonic() + patience
    try:
        while True:
            results = [process.poll() for process in processes]
            for path, result in zip(paths, results):
                if result not in (None, 0):
                    raise Ended(why(path, result))
            if None not in results:
                return
            if time.monotonic() > last:
                raise Ended("timeout: " + why(paths[results.index(None)], None))
            time.sleep(0.02)
    finally:
        for process in processes:
            end(process)
        for output in outputs:
            output.close()


def try_unit_tests(place, change, cases, environment):
    """Raises Ended when a unit test fails."""
    try_stages(place, cases.stages(change.file), cases.patience(), environment)


def try_races(place, change, cases, environment):
    """Raises Ended when the unit tests with threads or the proof "races" fail under ThreadSanitizer."""
    try_stages(place, cases.threaded_stages(change.file), 15 * cases.patience(), environment)
    run_all([place.program("prove_races"), *RACES], 1, LONGEST_RACES, place.folder, environment)


def try_stages(place, stages, patience, environment):
    for chosen, shards in stages:
        command = [place.program("unit_tests"), "--gtest_fail_fast", "--gtest_brief=0", f"--gtest_filter={chosen}"]
        run_all(command, shards, patience, place.folder, environment)
