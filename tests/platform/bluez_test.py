"""Bluetooth from BlueZ: against python3-dbusmock's BlueZ on a bus of our own, and against what may be missing."""

import os
import signal
import socket
import subprocess
import time
import unittest.mock

import dbus
import dbusmock

from harness import BIN, FolderCase, faster, main, tool

PROBE = BIN / "bond-probe"
BONDED, PAIRED, KNOWN, UNPAIRED_BUT_BONDED, STRANGER = (f"AA:BB:CC:00:00:0{n}" for n in range(1, 6))
OPERATION_FAILED = -0x01900000 | 0x0107
NOT_INITIALIZED = -0x01900000 | 0x0101
NOT_BONDED = -0x01900000 | 0x0108

SPEED = 10

BUS = """<busconfig>
  <type>session</type><listen>unix:path={socket}</listen>
  <policy context="default"><allow own="*"/><allow send_destination="*"/><allow receive_sender="*"/></policy>
</busconfig>"""


class Bluez(FolderCase, dbusmock.DBusTestCase):
    def setUp(self):
        super().setUp()
        (self.folder / "tv.ini").write_text("[bluetooth]\nsource=bluez\n")
        self.start_bus()

    def start_bus(self):
        """A bus for this test alone, which ends with it: dbusmock's own is made for a whole class."""
        config = self.folder / "bus.conf"
        config.write_text(BUS.format(socket=self.folder / "socket"))
        bus = subprocess.Popen(["dbus-daemon", "--nofork", "--print-address", f"--config-file={config}"],
                               stdout=subprocess.PIPE, text=True)
        self.addCleanup(bus.communicate)
        self.addCleanup(bus.terminate)
        environment = unittest.mock.patch.dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=bus.stdout.readline().strip())
        environment.start()
        self.addCleanup(environment.stop)

    def start_bluez(self):
        self.bluez, self.mock = self.spawn_server_template("bluez5", {}, stdout=subprocess.DEVNULL)
        self.addCleanup(self.bluez.wait)
        self.addCleanup(self.bluez.terminate)
        self.mock = dbus.Interface(self.mock, "org.bluez.Mock")

    def add_device(self, address, **properties):
        path = self.mock.AddDevice("hci0", address, "Name")
        device = self.get_dbus(True).get_object("org.bluez", path)
        for name, value in properties.items():
            if name == "Paired":
                device.UpdateProperties("org.bluez.Device1", {name: dbus.Boolean(value)},
                                        dbus_interface="org.freedesktop.DBus.Mock")
            else:
                device.AddProperty("org.bluez.Device1", name, dbus.Boolean(value), dbus_interface="org.freedesktop.DBus.Mock")

    def probe(self, *addresses, before=(), **environment):
        done = tool(*before, PROBE, *addresses, env={**os.environ, "INFOSYNC_TV_DIR": str(self.folder), **environment})
        return done.stdout.splitlines(), done.stderr.splitlines()

    def test_bonds(self):
        self.start_bluez()
        self.mock.AddAdapter("hci0", "machine")
        self.add_device(BONDED, Bonded=True)
        self.add_device(PAIRED, Paired=True)
        self.add_device(KNOWN, Paired=True, Bonded=False)
        self.add_device(UNPAIRED_BUT_BONDED, Paired=False, Bonded=True)
        said, log = self.probe(BONDED.lower(), PAIRED, KNOWN, UNPAIRED_BUT_BONDED, STRANGER)
        self.assertEqual(said, ["start 0", f"{BONDED.lower()} bonded", f"{PAIRED} bonded", f"{KNOWN} known",
                                f"{UNPAIRED_BUT_BONDED} bonded", f"{STRANGER} {NOT_BONDED}"])
        self.assertEqual(log, [])

    def fails(self, text, **options):
        """The start fails, with one warning for it and for the look-ups after it."""
        said, log = self.probe(BONDED, KNOWN, **options)
        self.assertEqual(said, [f"start {OPERATION_FAILED}", f"{BONDED} {NOT_INITIALIZED}", f"{KNOWN} {NOT_INITIALIZED}"])
        self.assertEqual(len(log), 1, log)
        self.assertRegex(log[0], r"^W/BLUETOOTH\( *\d+\): " + text)

    def fails_in_time(self, text, **options):
        before = time.monotonic()
        self.fails(text, **faster(SPEED), **options)
        self.assertLess((time.monotonic() - before) * SPEED, 30)

    def test_no_adapter(self):
        self.start_bluez()
        self.fails("BlueZ has no Bluetooth adapter")

    def test_no_bluez(self):
        self.fails(r"BlueZ \(org.bluez\): ")

    def test_no_bus(self):
        self.fails("no system D-Bus: ", DBUS_SYSTEM_BUS_ADDRESS="unix:path=/nonexistent/bus")
        self.fails("no system D-Bus: ", DBUS_SYSTEM_BUS_ADDRESS="nonsense")

    def test_bluez_that_does_not_answer(self):
        self.start_bluez()
        self.bluez.send_signal(signal.SIGSTOP)
        self.addCleanup(self.bluez.send_signal, signal.SIGCONT)
        self.fails_in_time(r"BlueZ \(org.bluez\): no answer within 5 seconds")

    def test_bus_that_does_not_answer(self):
        path = str(self.folder / "silent")
        with socket.socket(socket.AF_UNIX) as silent:
            silent.bind(path)
            silent.listen()
            self.fails_in_time("no system D-Bus: no answer within 5 seconds", DBUS_SYSTEM_BUS_ADDRESS=f"unix:path={path}")


if __name__ == "__main__":
    main()
