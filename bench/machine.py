"""What a report says about the machine it was measured on."""
import os
import pathlib
import platform
import subprocess


def first_line(command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[0]


def machine():
    model = "unknown processor"
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return (f"{model}, {os.cpu_count()} cores, {memory:.1f} GiB memory, {platform.system()} {platform.release()}; "
            f"{first_line(['g++', '--version'])}; {first_line(['sort', '--version'])}")
