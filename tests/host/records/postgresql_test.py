#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""postgresql_test.py TOOL BIN: runs recorded on a real PostgreSQL server, whose programs are in the folder BIN. The server
has a folder of its own, a socket in it, and belongs to an ordinary user.
postgresql_test.py TOOL BIN --runs N: N runs of 8 stations while the server and the stations are killed.
postgresql_test.py TOOL BIN --measure STATIONS RUNS: how many runs a second it takes from so many stations at once."""
import concurrent.futures
import contextlib
import json
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "report"))
from browser import Browser  # noqa: E402

TOOL = pathlib.Path(sys.argv[1]).resolve()
BIN = pathlib.Path(sys.argv[2])
NOBODY = 65534
STATIONS = 8
PASSWORD = "of the stations: @/?"
# More than any machine needs.
LONG = 120


def as_user():
    """initdb and the server refuse to be root."""
    return {"user": NOBODY, "group": NOBODY, "extra_groups": []} if os.getuid() == 0 else {}


class Server:
    def __init__(self, is_durable=False):
        """A server that is killed loses nothing that the system has; not `is_durable`, one that is cut off from its power would."""
        self.is_durable = is_durable
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="qmpg"))
        self.process = None
        if os.getuid() == 0:
            os.chown(self.folder, NOBODY, NOBODY)
        self.folder.chmod(0o755)
        self.run(BIN / "initdb", "--pgdata", "data", "--username", "admin", "--auth", "trust", "--encoding", "UTF8",
                 "--no-locale", "--no-sync")
        (self.folder / "data" / "pg_hba.conf").write_text(
            "local all admin trust\nlocal plant guarded scram-sha-256\nlocal plant all trust\n")
        self.start()
        try:
            self.make_tables()
        except BaseException:
            self.close()
            raise

    def make_tables(self):
        self.sql("CREATE DATABASE plant", database="postgres")
        self.sql(tool("history", "--schema").stdout)
        self.sql("CREATE ROLE stations; GRANT USAGE ON SCHEMA quillmark TO stations;"
                 "GRANT SELECT ON quillmark.schema_version TO stations;"
                 "GRANT SELECT, INSERT, UPDATE ON quillmark.runs TO stations;"
                 "CREATE ROLE station LOGIN IN ROLE stations;"
                 f"CREATE ROLE guarded LOGIN IN ROLE stations PASSWORD '{PASSWORD}'")

    def run(self, *command):
        subprocess.run(command, check=True, cwd=self.folder, stdout=subprocess.DEVNULL, **as_user())

    def start(self):
        """Waits until it answers. What a killed one left must be gone first."""
        deadline = time.monotonic() + LONG
        while time.monotonic() < deadline:
            with (self.folder / "log").open("ab") as log:
                self.process = subprocess.Popen(
                    [BIN / "postgres", "-D", "data", "-k", str(self.folder), "-c", "listen_addresses=",
                     "-c", f"fsync={'on' if self.is_durable else 'off'}"],
                    cwd=self.folder, stdout=log, stderr=log, **as_user())
            while self.process.poll() is None:
                if subprocess.run([BIN / "pg_isready", "-q", "-h", self.folder], check=False).returncode == 0:
                    return
                time.sleep(0.05)
            time.sleep(0.05)
        raise RuntimeError((self.folder / "log").read_text())

    def kill(self):
        """The server and what it started, as a power cut would end them."""
        children = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children").read_text().split()
        self.process.kill()
        for child in children:
            with contextlib.suppress(ProcessLookupError):
                os.kill(int(child), signal.SIGKILL)
        self.process.wait()

    def close(self):
        self.kill()
        shutil.rmtree(self.folder)

    def url(self, user="station"):
        return f"postgresql://{user}@/plant?host={self.folder}"

    def sql(self, text, database="plant"):
        return subprocess.run([BIN / "psql", "-X", "-A", "-t", "-q", "-v", "ON_ERROR_STOP=1", "-h", self.folder,
                               "-U", "admin", database], input=text, check=True, capture_output=True,
                              text=True).stdout.rstrip("\n")


def tool(*arguments, **options):
    environment = {**os.environ, "XDG_STATE_HOME": "/nonexistent", **options.pop("environment", {})}
    return subprocess.run([TOOL, *arguments], check=False, capture_output=True, text=True, timeout=LONG,
                          env=environment, **options)


class Station:
    """A station with records of its own."""

    def __init__(self, server, name, folder):
        self.server = server
        self.name = name
        self.folder = pathlib.Path(folder)
        self.file = self.folder / f"{name}.sqlite"
        self.image = self.folder / "image.bin"
        self.image.write_bytes(bytes(range(256)) * 8)

    def places(self, user="station"):
        return ["--records", self.file, "--records", self.server.url(user)]

    def command(self, *options, user="station"):
        return ["flash", self.image, "--base", "0x1000", "--station", self.name, *self.places(user), *options]

    def flash(self, *options, environment=None, user="station"):
        return tool(*self.command(*options, user=user), environment=environment or {})

    def forward(self):
        return tool("history", "--forward", *self.places())

    def runs(self, *options):
        return events(tool("history", "--records", self.file, "--json", *options))

    def all_runs(self, *options):
        return events(tool("history", "--all-stations", *self.places(), "--json", *options))

    def change(self, sql):
        with contextlib.closing(sqlite3.connect(self.file)) as file, file:
            file.execute(sql)


def events(result):
    if result.returncode != 0:
        raise AssertionError(result.stderr)
    return [json.loads(line) for line in result.stdout.splitlines()]


def by_id(runs):
    return sorted(runs, key=lambda run: run["id"])


class OnServer(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = Server()
        cls.addClassCleanup(cls.server.close)

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.server.sql("DELETE FROM quillmark.runs")
        self.station = Station(self.server, "line 3", self.folder.name)

    def expect_same(self, *stations):
        """The server has the runs of these stations, each once and as they are there."""
        self.assertEqual(by_id(stations[0].all_runs()), by_id(run for station in stations for run in station.runs()))


class Recording(OnServer):
    def test_a_run_is_in_the_file_and_on_the_server(self):
        result = self.station.flash()
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        [run] = self.station.all_runs()
        self.assertEqual((run["station"], run["outcome"], run["ecu"]), ("line 3", "done", "SIMULATED ECU 001 REV A"))
        self.expect_same(self.station)

    def test_the_station_has_the_name_of_the_machine_unless_told(self):
        command = self.station.command()
        at = command.index("--station")
        self.assertEqual(tool(*command[:at], *command[at + 2:]).returncode, 0)
        self.assertEqual([run["station"] for run in self.station.all_runs()], [socket.gethostname()])

    def test_a_run_that_was_not_meant_for_the_server_stays_here(self):
        self.assertEqual(tool("flash", self.station.image, "--base", "0", "--records", self.station.file).returncode, 0)
        self.assertEqual(self.station.flash().returncode, 0)
        self.assertEqual(len(self.station.runs()), 2)
        self.assertEqual(len(self.station.all_runs()), 1)

    def test_a_run_is_unfinished_on_the_server_until_it_has_ended(self):
        seen = []
        key = f"until [ -e {self.folder.name}/go ]; do sleep 0.05; done; echo 00"
        with subprocess.Popen([TOOL, *self.station.command("--key-command", key, "--key-timeout", "60000")],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as flash:
            while not seen and flash.poll() is None:
                seen = self.station.all_runs()
            pathlib.Path(self.folder.name, "go").touch()
        [run] = self.station.all_runs()
        self.assertEqual([(seen[0]["id"], seen[0]["outcome"])], [(run["id"], "unfinished")])
        self.assertEqual(run["outcome"], "failed")

    def test_a_server_that_is_away_costs_a_warning_and_gets_all_runs_later(self):
        self.server.kill()
        for _ in range(3):
            result = self.station.flash()
            self.assertEqual(result.returncode, 0)
            self.assertRegex(result.stderr, "^quillmark: warning: the server does not have all runs yet: ")
        self.assertEqual(self.station.forward().returncode, 69)
        self.server.start()
        self.assertEqual(self.station.flash().stderr, "")
        self.assertEqual(len(self.station.all_runs()), 4)
        self.expect_same(self.station)
        self.assertEqual(self.station.forward().stdout, "forwarded 0 runs\n")

    def test_a_server_that_never_answers_holds_no_run_up(self):
        folder = tempfile.mkdtemp(prefix="qmpg")
        self.addCleanup(shutil.rmtree, folder)
        with socket.socket(socket.AF_UNIX) as silent:
            silent.bind(f"{folder}/.s.PGSQL.5432")
            silent.listen()
            result = tool("flash", self.station.image, "--base", "0", "--records", self.station.file, "--records",
                          f"postgresql:///plant?host={folder}")
        self.assertEqual(result.returncode, 0)
        self.assertIn("it has not taken all of them within 2 s", result.stderr)
        self.assertEqual(self.station.forward().stdout, "forwarded 1 run\n")
        self.expect_same(self.station)

    def test_what_was_sent_is_not_there_twice_and_nothing_old_replaces_what_is_newer(self):
        self.station.flash()
        before = self.station.all_runs()
        # As after a crash between the server's answer and the note of it.
        self.station.change("UPDATE runs SET forwarded = 0")
        self.assertEqual(self.station.forward().stdout, "forwarded 1 run\n")
        # As from a process that has read the run before it ended.
        self.station.change("UPDATE runs SET forwarded = 0, writes = 1, outcome = 'unfinished'")
        self.assertEqual(self.station.forward().returncode, 0)
        self.assertEqual(self.station.all_runs(), before)

    def test_a_run_that_the_server_refuses_holds_no_other_one_up(self):
        self.server.kill()
        for _ in range(3):
            self.station.flash()
        self.server.start()
        self.station.change("UPDATE runs SET started = 9000000000000000000 WHERE number = 2")
        result = self.station.forward()
        self.assertEqual(result.returncode, 69)
        self.assertIn("out of range", result.stderr)
        self.assertEqual(len(self.station.all_runs()), 2)

    def test_texts_of_strangers_are_shown_and_not_obeyed(self):
        self.station.flash()
        hostile = b"\x1b]0;owned\x07<b>'; DROP TABLE quillmark.runs; --\x00\xff end"
        with contextlib.closing(sqlite3.connect(self.station.file)) as file, file:
            file.execute("UPDATE runs SET ecu = CAST(? AS TEXT), writes = writes + 1", [hostile])
        self.assertEqual(self.station.forward().stdout, "forwarded 1 run\n")
        for form in ([], ["--json"], ["--csv"]):
            shown = tool("history", "--all-stations", *self.station.places(), *form).stdout
            self.assertIn("\\u001b]0;owned\\u0007<b>'; DROP TABLE quillmark.runs; --", shown)
            self.assertNotIn("\x1b", shown)
        self.assertIn("\ufffd\ufffd end", self.station.all_runs()[0]["ecu"])


class History(OnServer):
    def test_each_filter_finds_on_the_server_what_it_finds_in_the_file(self):
        self.station.flash()
        self.station.flash("--repeat", "0", "--fault", "unplug@40")
        self.station.flash("--expect-ecu", "ANOTHER 100%")
        self.expect_same(self.station)
        start = self.station.runs()[1]["started"][:19]
        for options in (["--ecu", "rev a"], ["--ecu", "%"], ["--image", "IMAGE.bin"], ["--image", "' OR 1=1 --"],
                        ["--outcome", "failed"], ["--outcome", "done"], ["--since", start], ["--until", start],
                        ["--since", "2001-01-01", "--until", "2001-01-02"], ["--search", "DEVICE is gone"],
                        ["--search", "100%"], ["--search", "LINE 3"], ["--station", "Line"], ["--station", "4"],
                        ["--last", "2"], ["--last", "0"]):
            with self.subTest(options):
                self.assertEqual(self.station.all_runs(*options), self.station.runs(*options))

    def test_all_stations_are_listed_with_their_names(self):
        other = Station(self.server, "line 4", self.folder.name)
        self.station.flash()
        other.flash()
        self.expect_same(self.station, other)
        shown = tool("history", "--all-stations", *self.station.places()).stdout
        self.assertRegex(shown, r"(?s)  line 4  SIMULATED ECU 001 REV A  .*  line 3  SIMULATED ECU 001 REV A  ")
        table = tool("history", "--all-stations", *self.station.places(), "--csv").stdout
        self.assertIn(',"line 3",', table)


class Access(OnServer):
    def test_a_password_comes_from_the_environment_or_a_file_and_is_never_shown(self):
        passwords = pathlib.Path(self.folder.name, "passwords")
        passwords.write_text("*:*:*:guarded:" + PASSWORD.replace(":", "\\:") + "\n")
        passwords.chmod(0o600)
        for environment, works in (({"PGPASSWORD": PASSWORD}, True), ({"PGPASSFILE": str(passwords)}, True),
                                   ({"PGPASSWORD": "wrong secret"}, False)):
            result = self.station.flash("--artifacts", f"{self.folder.name}/out", "--force", user="guarded",
                                        environment=environment)
            self.assertEqual(result.returncode, 0)
            self.assertEqual(result.stderr == "", works, result.stderr)
            left = result.stdout + result.stderr + self.station.file.read_text(errors="replace")
            for file in pathlib.Path(self.folder.name, "out").rglob("*"):
                left += file.read_text(errors="replace") if file.is_file() else ""
            for secret in (PASSWORD, "wrong secret"):
                self.assertNotIn(secret, left)

    def test_a_station_can_neither_remove_runs_nor_change_the_tables(self):
        for sql in ("DELETE FROM quillmark.runs", "DROP TABLE quillmark.runs", "TRUNCATE quillmark.runs",
                    "UPDATE quillmark.schema_version SET version = 0"):
            with self.subTest(sql), self.assertRaises(subprocess.CalledProcessError) as raised:
                self.server.sql(f"SET ROLE station; {sql}")
            self.assertRegex(raised.exception.stderr, "permission denied|must be owner")

    def test_without_the_client_library_the_package_is_named_and_nothing_is_sent(self):
        pathlib.Path(self.folder.name, "libpq.so.5").touch()
        result = self.station.flash(environment={"LD_LIBRARY_PATH": self.folder.name})
        self.assertEqual(result.returncode, 69)
        self.assertIn("on Debian it is in the package libpq5", result.stderr)
        self.assertFalse(self.station.file.exists())


class Tables(OnServer):
    def test_making_them_again_keeps_what_is_there(self):
        self.station.flash()
        self.server.sql(tool("history", "--schema").stdout)
        self.expect_same(self.station)

    def test_none_are_asked_of_the_administrator(self):
        self.server.sql("ALTER SCHEMA quillmark RENAME TO other")
        self.addCleanup(self.server.sql, "ALTER SCHEMA other RENAME TO quillmark")
        result = self.station.flash()
        self.assertEqual(result.returncode, 0)
        self.assertIn("an administrator makes them with \"quillmark history --schema\"", result.stderr)

    def test_those_of_a_later_version_are_left_alone(self):
        self.server.sql("UPDATE quillmark.schema_version SET version = 99")
        self.addCleanup(self.server.sql, "UPDATE quillmark.schema_version SET version = 1")
        result = self.station.forward()
        self.assertEqual(result.returncode, 66 if not self.station.file.exists() else 69)
        self.station.flash()
        self.assertIn("expected records of version 1, found 99", self.station.forward().stderr)
        with self.assertRaises(subprocess.CalledProcessError) as raised:
            self.server.sql(tool("history", "--schema").stdout)
        self.assertIn("expected records of version 1 or earlier, found 99", raised.exception.stderr)

    def test_they_can_be_divided_by_the_start(self):
        self.server.sql("ALTER SCHEMA quillmark RENAME TO whole")
        self.addCleanup(self.server.sql, "DROP SCHEMA quillmark CASCADE; ALTER SCHEMA whole RENAME TO quillmark")
        self.server.sql(tool("history", "--schema").stdout.replace("-- PARTITION", "PARTITION"))
        self.server.sql("CREATE TABLE quillmark.runs_now PARTITION OF quillmark.runs"
                        " FOR VALUES FROM ('2020-01-01') TO ('2120-01-01');"
                        "GRANT USAGE ON SCHEMA quillmark TO stations;"
                        "GRANT SELECT ON quillmark.schema_version TO stations;"
                        "GRANT SELECT, INSERT, UPDATE ON quillmark.runs TO stations")
        for _ in range(2):
            self.assertEqual(self.station.flash().stderr, "")
        self.expect_same(self.station)


# In a bay of the page, as its own script does it: an image, the answer to the question, until the end.
FLASH = """
    return (async (bay) => {
      const ask = async (path, body) => (await fetch(path, body === undefined ? {} : { method: "POST", body })).json();
      const until = async (fits) => {
        for (;;) {
          const state = (await ask("/api/state")).bays[bay];
          if (fits(state)) {
            return state;
          }
          await new Promise((resolve) => setTimeout(resolve, 20));
        }
      };
      const path = `/api/bays/${bay}`;
      const { image } = await ask(`${path}/image?name=a.bin&base=0x1000`, Uint8Array.from({ length: 2048 }, (_, i) => i * 7));
      await ask(`${path}/flash?image=${image.number}`, "");
      const { question } = await until((state) => state.question !== null);
      await ask(`${path}/answer?question=${question.number}&answer=yes`, "");
      return (await until((state) => state.work === "nothing")).outcome.state;
    })(...arguments);"""


class Page(OnServer):
    """The page of a station among others."""

    def setUp(self):
        super().setUp()
        self.other = Station(self.server, "line 4", self.folder.name)
        self.assertEqual(self.other.flash().returncode, 0)
        bays = pathlib.Path(self.folder.name, "bays.json")
        bays.write_text(json.dumps({"bays": [{"bay": "left"}, {"bay": "right"}]}))
        process = subprocess.Popen([TOOL, "station", "--bays", bays, "--station", self.station.name, *self.station.places(),
                                    "--artifacts", bays.parent / "runs", "--json"], stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.send_signal, signal.SIGINT)
        self.browser = Browser()
        self.addCleanup(self.browser.__exit__)
        self.browser.open(json.loads(process.stdout.readline())["url"])

    def flash(self, bay):
        self.assertEqual(self.browser.run(FLASH, bay), "done")

    def expect_rows(self, *stations):
        """Those of the runs, the last one first."""
        shown = None
        deadline = time.monotonic() + LONG
        while shown != list(stations):
            self.assertLess(time.monotonic(), deadline, f"{shown}\n{self.browser.run('return document.body.innerText')}")
            time.sleep(0.05)
            shown = self.browser.run("return [...document.querySelectorAll('#run-rows tr')].filter((row) =>"
                                     " !row.innerText.includes('unfinished')).map((row) => row.cells[2].innerText)")

    def problem(self):
        return self.browser.run("const place = document.getElementById('run-problem');"
                                "return place.hidden ? '' : place.innerText")

    def type_station(self, text):
        self.browser.run("const filter = document.getElementById('run-station'); filter.value = arguments[0];"
                         "filter.dispatchEvent(new Event('input'))", text)

    def test_shows_the_runs_of_all_stations_and_sends_those_of_its_bays_once(self):
        self.expect_rows("line 4")
        self.flash(0)
        self.flash(1)
        self.expect_rows("line 3", "line 3", "line 4")
        self.expect_same(self.station, self.other)
        self.assertEqual(self.problem(), "")
        self.assertIn("3 done", self.browser.run("return document.getElementById('run-readout').innerText"))
        # A report is of this machine; the folder that another one names is nothing here.
        self.assertEqual(self.browser.run("return document.querySelectorAll('#run-rows a').length"), 2)
        self.type_station("LINE 4")
        self.expect_rows("line 4")
        self.type_station("5")
        self.expect_rows()

    def test_goes_on_without_the_server_and_says_so(self):
        self.expect_rows("line 4")
        self.server.kill()
        self.flash(0)
        self.flash(1)
        self.expect_rows("line 3", "line 3")
        self.assertIn("The server of all stations does not answer", self.problem())
        self.server.start()
        # Without another flash.
        self.expect_rows("line 3", "line 3", "line 4")
        self.assertEqual(self.problem(), "")
        self.expect_same(self.station, self.other)


class Campaign(OnServer):
    runs = 50

    def test_nothing_is_lost_or_there_twice_while_server_and_stations_are_killed(self):
        dice = random.Random()
        stations = [Station(self.server, f"line {number}", self.folder.name) for number in range(STATIONS)]
        ended = threading.Event()
        kills = []

        def work(station, seed):
            own = random.Random(seed)
            for _ in range(len(range(stations.index(station), self.runs, STATIONS))):
                with subprocess.Popen([TOOL, *station.command()], stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL) as flash:
                    if own.random() < 0.2:
                        time.sleep(own.uniform(0, 0.3))
                        flash.kill()

        def disturb():
            while not ended.wait(dice.uniform(0.1, 0.6)):
                self.server.kill()
                kills.append(1)
                ended.wait(dice.uniform(0, 0.5))
                self.server.start()

        disturber = threading.Thread(target=disturb)
        disturber.start()
        try:
            with concurrent.futures.ThreadPoolExecutor(STATIONS) as pool:
                list(pool.map(work, stations, [dice.random() for _ in stations]))
        finally:
            ended.set()
            disturber.join()
        for station in stations:
            if station.file.exists():
                self.assertEqual(station.forward().returncode, 0)
        stations = [station for station in stations if station.file.exists()]
        self.expect_same(*stations)
        runs = stations[0].all_runs()
        unfinished = sum(run["outcome"] == "unfinished" for run in runs)
        print(f"{self.runs} runs of {STATIONS} stations, {len(kills)} kills of the server: {len(runs)} recorded,"
              f" {unfinished} of them unfinished")
        self.assertGreater(len(runs), self.runs // 2)
        self.assertTrue(kills)


def measure(stations, runs):
    """Files of so many runs each, all sent at once."""
    with contextlib.closing(Server(is_durable=True)) as server, tempfile.TemporaryDirectory() as folder:
        first = Station(server, "line 0", folder)
        server.kill()
        first.flash()
        server.start()
        columns = re.sub(r"\s", "", "command,station,bay,bus,ecu,images,image_sha256,settings,phases,outcome,message,"
                                    "microseconds,version,artifacts,writes,forwarded")
        first.change(f"WITH RECURSIVE count(n) AS (SELECT 2 UNION ALL SELECT n + 1 FROM count WHERE n < {runs})"
                     f" INSERT INTO runs (id, started, {columns})"
                     f" SELECT lower(hex(randomblob(16))), started + n, {columns} FROM runs, count")
        all_stations = [first] + [Station(server, f"line {number}", folder) for number in range(1, stations)]
        for station in all_stations[1:]:
            shutil.copy(first.file, station.file)
            station.change(f"UPDATE runs SET station = '{station.name}', id = lower(hex(randomblob(16)))")
        start = time.monotonic()
        with concurrent.futures.ThreadPoolExecutor(stations) as pool:
            results = list(pool.map(Station.forward, all_stations))
        seconds = time.monotonic() - start
        if any(result.returncode != 0 for result in results):
            raise AssertionError(results)
        count = int(server.sql("SELECT count(*) FROM quillmark.runs"))
        size = server.sql("SELECT pg_total_relation_size('quillmark.runs')")
        start = time.monotonic()
        listed = len(first.all_runs("--last", "100"))
        searched = time.monotonic()
        tool("history", "--all-stations", *first.places(), "--search", "no such text")
        print(f"{stations} stations, {count} runs in {seconds:.1f} s: {count / seconds:.0f} runs a second,"
              f" {int(size) // count} bytes each; the last {listed} listed in {searched - start:.2f} s,"
              f" all searched in {time.monotonic() - searched:.2f} s; load {os.getloadavg()[0]:.1f}")


if __name__ == "__main__":
    mode, numbers = sys.argv[3] if len(sys.argv) > 3 else "", sys.argv[4:]
    if mode == "--measure":
        measure(*map(int, numbers))
    else:
        if mode == "--runs":
            Campaign.runs = int(numbers[0])
        unittest.main(argv=sys.argv[:1] + (["Campaign"] if mode == "--runs" else []))
