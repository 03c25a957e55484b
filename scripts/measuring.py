"""Shared by bench and fleet beside it: where the programs are, and how they come to be there."""

import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BIN = ROOT / "build/release/bin"


def prepare(*lists):
    """Installs what the package lists name and the machine lacks, and builds."""
    steps = f"source scripts/lib.sh; install_packages {' '.join(lists)}; build release"
    if subprocess.run(["bash", "-c", steps], cwd=ROOT, stdout=sys.stderr, check=False).returncode != 0:
        sys.exit(1)
