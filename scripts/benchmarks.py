"""Shared by scripts/bench, scripts/instructions and scripts/scoreboard: builds and commands."""

import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "bench"


def run(*command, **options):
    """Runs a command; if it fails, ends the script with the command's output."""
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                          **options)
    if done.returncode != 0:
        name = pathlib.Path(sys.argv[0]).name
        sys.exit(f"{name}: {' '.join(map(str, command))} failed:\n{done.stdout}{done.stderr}")
    return done


def build(target="all", peers=False):
    options = ["-DCMAKE_BUILD_TYPE=Release", "-DKIVCORE_BUILD_BENCH=ON",
               "-DKIVCORE_BUILD_TESTS=OFF", "-DKIVCORE_BUILD_TOOL=ON",
               "-DKIVCORE_BUILD_PLUGINS=ON", "-DKIVCORE_BUILD_PYTHON=ON",
               f"-DKIVCORE_BENCH_PEERS={'ON' if peers else 'OFF'}"]
    run(ROOT / "scripts" / "bootstrap", "build", "bench", *(["peers"] if peers else []))
    run("cmake", "-S", ROOT, "-B", BUILD, "-G", "Ninja", *options)
    run("cmake", "--build", BUILD, "--target", target)
