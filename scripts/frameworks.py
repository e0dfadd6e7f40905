"""The frameworks of scripts/scoreboard: how each gets a faulty plug-in made and is shown it."""

import os
import re
import resource
import shutil
import signal
import subprocess

from benchmarks import ROOT, run

BUILD = ROOT / "build" / "release"
SOURCES = ROOT / "scoreboard"
SECONDS = 15  # for one run of a host; kivplug gives a plug-in 10
# What ended a host with this status: leave() in faults.h, or the dynamic linker.
ENDINGS = {7: "ended by `exit()`", 127: "ended by the linker"}


def watch(command, directory, **variables):
    """Runs a host. Returns what it printed, and what became of it."""
    def prepare():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    environment = {"PATH": os.environ["PATH"], "LC_ALL": "C", "HOME": str(directory), **variables}
    host = subprocess.Popen(list(map(str, command)), cwd=directory, env=environment, text=True,
                            errors="replace", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, preexec_fn=prepare, start_new_session=True)
    try:
        printed, _ = host.communicate(timeout=SECONDS)
    except subprocess.TimeoutExpired:
        os.killpg(host.pid, signal.SIGKILL)  # also the processes that it started
        return host.communicate()[0], "hangs"
    if host.returncode < 0:
        return printed, f"dies: {signal.Signals(-host.returncode).name}"
    return printed, ENDINGS.get(host.returncode, "lives")


class Refusal(Exception):
    """What a tool of the framework says that refuses to build the plug-in."""


class Framework:
    """Makes plug-ins with a fault and shows them to a host, which is run twice."""
    name = ""
    stem = ""  # of its sources
    packages = ()  # of pkg-config
    description = ""  # the plug-in's, in SOURCES; empty for none
    object = "plugin.so"
    entry = ""  # the function that the framework looks up in a shared object
    success = ""  # what the host prints when it has an object, as a regular expression
    message = ".+"  # what it prints that says what is wrong, as a regular expression

    def __init__(self, directory):
        self.directory = directory  # for what all its plug-ins need

    def takes(self, fault):
        if fault.edits is not None:
            return self.name in fault.edits
        return bool(self.entry) and (not fault.only or self.name in fault.only)

    def describe(self, fault, directory):
        edit = (fault.edits or {}).get(self.name, ("", ""))
        if self.description and edit:
            text = (SOURCES / self.description).read_text()
            (directory / self.description).write_text(text.replace(*edit))

    def make(self, fault, directory):
        self.describe(fault, directory)
        (directory / "hidden.map").write_text("{ local: *; };\n")
        run("cc", "-shared", "-x", "c", os.devnull, "-o", "libgone.so", cwd=directory)
        target = directory / self.object
        target.parent.mkdir(parents=True, exist_ok=True)
        entry = fault.entry.format(self.entry, length=len(self.entry)) or self.entry
        self.compile("plugin", target, directory, "-shared", "-fvisibility=hidden",
                     f"-D{self.entry}={entry}", *fault.options)
        os.unlink(directory / "libgone.so")
        if fault.spoil:
            fault.spoil(target)

    def flags(self):
        return run("pkg-config", "--cflags", "--libs", *self.packages).stdout.split()

    def compile(self, what, target, directory, *options):
        source = shutil.copy(SOURCES / f"{self.stem}_{what}.cpp", directory)
        run("c++", "-std=c++17", "-fPIC", "-I.", f"-I{SOURCES}", source, *options,
            *self.flags(), "-o", target, cwd=directory)

    def show(self, directory):
        """What the host printed each time, and what became of it."""
        runs = [watch(self.command(directory), directory, **self.variables(directory))
                for _ in range(2)]
        fates = [fate for _, fate in runs if fate != "lives"]
        return [printed for printed, _ in runs], (fates or ["lives"])[0]

    def command(self, directory):
        raise NotImplementedError

    def variables(self, directory):
        return {}

    def messages(self, printed):
        """The lines that say what is wrong."""
        return re.findall(self.message, printed, re.MULTILINE)


class Kivplug(Framework):
    name = "kivplug check"
    stem = "kivcore"
    description = "plugin.xml"
    object = "darwin/x86/plugin.so"
    entry = "scoreboard_create"
    success = "trial +ok"
    message = "KIV.*|^kivplug: .*"

    def flags(self):
        paths = [path for root in (ROOT, BUILD) for path in root.glob("code/*/*/include")]
        return [*(f"-I{path}" for path in paths), f"-L{BUILD / 'lib'}", "-lkivcore", "-lmorbase",
                f"-Wl,-rpath,{BUILD / 'lib'}"]

    def command(self, directory):
        return [BUILD / "bin" / "kivplug", "check", directory]


class GStreamer(Framework):
    """The second time, it knows the plug-in from the registry that the first one wrote."""
    name = "GStreamer"
    stem = "gstreamer"
    packages = ("gstreamer-1.0",)
    object = "plugins/libscoreboard.so"
    entry = "gst_plugin_scoreboard_get_desc"
    success = "Factory Details"

    def command(self, directory):
        return ["gst-inspect-1.0", "--no-colors", "scoreboard"]

    def variables(self, directory):
        return {"GST_PLUGIN_PATH": str(directory / "plugins"), "GST_PLUGIN_SYSTEM_PATH": "",
                "GST_REGISTRY": str(directory / "registry")}

    def messages(self, printed):
        return super().messages(printed.partition(self.success)[0])


class InProcess(Framework):
    """One with a host of ours, which tries twice by itself."""
    success = "^made$"

    def __init__(self, directory):
        super().__init__(directory)
        self.host = directory / f"{self.stem}_host"
        self.compile("host", self.host, directory)

    def show(self, directory):
        printed, fate = watch([self.host, directory / self.object], directory,
                              **self.variables(directory))
        return printed.split("again\n"), fate

    def messages(self, printed):
        return [line for line in super().messages(printed) if line not in ("made", "not made")]


class Lilv(InProcess):
    name = "lilv"
    stem = "lilv"
    packages = ("lilv-0", "lv2")
    description = "manifest.ttl"
    entry = "lv2_descriptor"

    def variables(self, directory):
        return {"LV2_PATH": str(directory.parent)}


class Lv2Validate(Framework):
    """Reads descriptions alone. Faults of other kinds have no row for it."""
    name = "lv2_validate"
    description = "manifest.ttl"
    success = "Found 0 errors"
    message = "^error.*|^Skipping file .*/manifest.ttl"

    def make(self, fault, directory):
        self.describe(fault, directory)

    def command(self, directory):
        return ["lv2_validate", directory / self.description]


class Qt(InProcess):
    name = "Qt"
    stem = "qt"
    packages = ("Qt5Core",)
    description = "plugin.json"
    entry = "qt_plugin_instance"

    def compile(self, what, target, directory, *options):
        if what == "plugin":
            source = shutil.copy(SOURCES / "qt_plugin.cpp", directory)
            tools = run("pkg-config", "--variable=host_bins", "Qt5Core").stdout.strip()
            done = subprocess.run([f"{tools}/moc", source, "-o", directory / "qt_plugin.moc"],
                                  capture_output=True, text=True)
            if done.returncode != 0:
                raise Refusal(done.stderr)
        super().compile(what, target, directory, *options)
