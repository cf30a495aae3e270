# SPDX-License-Identifier: MIT
import gc
import os
import struct
import subprocess
import sys
import threading

from qel_unit import AgentDirectory, ClosedError
from qel_unit.agents import Command, State, Stats

from .support import FOLDER, Case


class Agents(Case):
    def setUp(self) -> None:
        super().setUp()
        self.directory = AgentDirectory(self.file("agents.qeag"))
        self.addCleanup(self.directory.close)

    def test_live_and_end(self) -> None:
        first = self.directory.spawn(type=2, tag=7)
        second = self.directory.spawn(first, 1, 1)
        self.assertEqual((first, second), ("2A9E0100", "2A9E0200"))
        self.assertEqual(self.directory.query(first),
                         (first, "2A9E0000", 2, State.SPAWNED, True, False, False, 7, 0, 0))
        self.directory.delegate(first, second, 2**64 - 1)
        agent = self.directory.query(second)
        self.assertEqual((agent.parent, agent.state, agent.delegated, agent.task),
                         (first, State.DELEGATED, True, 2**64 - 1))
        self.directory.control(second, Command.PAUSE)
        self.assertEqual(self.directory.query(second).state, State.PAUSED)
        self.directory.control(second, Command.RESUME)
        self.assertEqual(self.directory.query(second).state, State.DELEGATED)
        self.directory.terminate(second)
        self.assertEqual(self.directory.query(second).state, State.TERMINATED)
        self.assertEqual(self.directory.stats(), Stats(2, 1, (0, 1, 1, 0)))
        self.assertEqual(len(self.directory), 2)

    def test_are_listed_by_pattern(self) -> None:
        for tier in (0, 0, 1, 2):
            self.directory.spawn(tier=tier)
        everyone = ["2A9E0100", "2A9E0101", "2A9E0200", "2A9E0300"]
        self.assertEqual(self.directory.monitor(), everyone)
        self.assertEqual(self.directory.monitor("2A9E01"), everyone[:2])
        self.assertEqual(self.directory.monitor("*****2"), everyone[2:3])
        self.assertEqual(self.directory.monitor("", 3), everyone[:3])
        self.assertEqual(self.directory.monitor("X"), [])

    def test_are_listed_by_the_same_letters_that_their_ids_have(self) -> None:
        path = self.file("others.qeag")
        ids = ["\u00e9t\u00e9", "e\u00e9", "\u00ff" * 8]
        records = b"".join(struct.pack("<8s32x", id.encode("latin-1")) for id in ids)
        path.write_bytes(struct.pack("<4sIIIq", b"QEAG", 1, 3, 3, 0) + records)
        self.directory.merge(path)
        self.assertEqual(self.directory.monitor(), ids)
        for id in ids:
            self.assertEqual(self.directory.monitor(id), [id])
        self.assertEqual(self.directory.monitor("*\u00e9"), ids[1:2])
        self.assertRaises(ValueError, self.directory.monitor, "\u20ac")
        self.assertRaises(ValueError, self.directory.monitor, "a\0b")
        self.assertEqual(self.directory.monitor(b"\xe9"), ids[:1])

    def test_failures_raise_their_code(self) -> None:
        known = self.directory.spawn()
        self.fails("qel_agent_query", -2, self.directory.query, "unknown")
        self.fails("qel_agent_control", -3, self.directory.control, known, 5)
        self.fails("qel_agent_delegate", -2, self.directory.delegate, "unknown", known, 0)
        self.fails("qel_agent_delegate", -3, self.directory.delegate, known, "unknown", 0)
        self.directory.terminate(known)
        self.fails("qel_agent_terminate", -3, self.directory.terminate, known)

    def test_take_turns(self) -> None:
        def spawn_some() -> None:
            for _ in range(200):
                self.directory.spawn(tier=9)

        threads = [threading.Thread(target=spawn_some) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(self.directory.stats().total, 800)
        self.assertEqual(len(set(self.directory.monitor())), 800)


class Keeping(Case):
    def test_a_directory_comes_back(self) -> None:
        path = self.file("agents.qeag")
        with AgentDirectory(path) as directory:
            directory.spawn(tag=9)
            directory.sync()
            self.assertEqual(path.read_bytes()[:16], struct.pack("<4sIII", b"QEAG", 1, 1, 1))
            directory.spawn()
        self.assertEqual(path.stat().st_size, 24 + 2 * 40)  # closing has saved it
        with AgentDirectory.load(path) as directory:
            self.assertEqual(directory.query("2A9E0100").tag, 9)
            directory.save(self.file("copy"))
        self.assertEqual(self.file("copy").stat().st_size, 104)

    def test_a_failed_load_leaves_no_directory(self) -> None:
        self.file("other").write_bytes(bytes(24))
        self.fails("qel_agent_dir_load", -4, AgentDirectory.load, self.file("other"))
        with AgentDirectory() as directory:
            self.assertEqual(len(directory), 0)
            self.fails("qel_agent_dir_save", -2, directory.save)

    def test_a_close_that_cannot_save_raises_and_ends_nothing(self) -> None:
        path = self.file("folder") / "agents.qeag"
        directory = AgentDirectory(path)
        self.addCleanup(directory.close)
        directory.spawn(tag=3)
        self.assertRaises(FileNotFoundError, directory.sync)
        self.assertRaises(FileNotFoundError, directory.close)
        self.assertFalse(directory.closed)
        self.assertEqual(directory.query("2A9E0100").tag, 3)
        directory.save(self.file("elsewhere"))
        directory.close()
        self.assertTrue(directory.closed)
        self.assertFalse(path.exists())
        with AgentDirectory.load(self.file("elsewhere")) as directory:
            self.assertEqual(directory.query("2A9E0100").tag, 3)

    def test_a_file_that_does_not_change_is_not_written_again(self) -> None:
        path = self.file("agents.qeag")
        with AgentDirectory(path) as directory:
            directory.sync()
            self.assertFalse(path.exists())
            directory.spawn()
            directory.sync()
            first = path.stat().st_ino
            directory.sync()
        self.assertEqual(path.stat().st_ino, first)
        with AgentDirectory.load(path) as directory:
            directory.query("2A9E0100")
        self.assertEqual(path.stat().st_ino, first)
        with AgentDirectory.load(path) as directory:
            directory.control("2A9E0100", Command.TO_STATE_4)
        with AgentDirectory.load(path) as directory:
            self.assertEqual(directory.query("2A9E0100").state, State.STATE_4)

    def test_a_relative_path_is_that_of_the_opening(self) -> None:
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(self.folder)
        with AgentDirectory("agents.qeag") as directory:
            directory.spawn()
            os.chdir(before)
        self.assertTrue(self.file("agents.qeag").exists())

    def test_without_a_path_there_is_nothing_to_sync_to(self) -> None:
        with AgentDirectory() as directory:
            directory.sync()
            directory.spawn()
            self.fails("qel_agent_dir_save", -2, directory.sync)
            self.fails("qel_agent_dir_save", -2, directory.save)

    def test_there_is_one_at_a_time(self) -> None:
        with AgentDirectory():
            self.assertRaises(RuntimeError, AgentDirectory)
        with AgentDirectory():
            pass

    def test_an_unclosed_directory_is_saved_when_it_is_collected(self) -> None:
        directory = AgentDirectory(self.file("agents.qeag"))
        directory.spawn()
        del directory
        gc.collect()
        self.assertEqual(self.file("agents.qeag").stat().st_size, 64)

    def test_an_unclosed_directory_that_cannot_be_saved_warns(self) -> None:
        program = "import sys, qel_unit; qel_unit.AgentDirectory(sys.argv[1]).spawn()"
        ended = subprocess.run([sys.executable, "-c", program, str(self.file("none") / "agents.qeag")],
                               capture_output=True, text=True, cwd=str(FOLDER.parent))
        self.assertIn("FileNotFoundError", ended.stderr)
        self.assertIn(str(self.file("none") / "agents.qeag"), ended.stderr)

    def test_a_closed_directory_refuses(self) -> None:
        directory = AgentDirectory()
        directory.close()
        directory.close()
        self.assertTrue(directory.closed)
        for name in ("spawn", "stats", "sync", "monitor", "save", "__enter__", "__len__"):
            self.assertRaises(ClosedError, getattr(directory, name))
