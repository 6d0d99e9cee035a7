"""The part of compare that generates the logs, runs the programs and draws the picture."""

import math
import os
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

FOLDER = Path("build/bench")
MAKE_LOG = "build/release/bench/make-log"
PICTURE = Path("docs/performance.svg")

# The command for each program; the first is ours.
PROGRAMS = {
    "logpass": ["build/release/tools/logpass", "--count", "--quiet-log"],
    "wc -l": ["wc", "-l"],
    "grep -c 'Info:'": ["grep", "-c", "Info:"],
    "lnav -n": ["lnav", "-n"],
}
COLOURS = {"logpass": "#1a7f37", "wc -l": "#6e7781", "grep -c 'Info:'": "#0969da", "lnav -n": "#cf222e"}


def make_log(lines):
    log = FOLDER / f"vxsvc_{lines}.log"
    if not log.exists():
        with open(log, "wb") as file:
            subprocess.run([MAKE_LOG, str(lines)], stdout=file, check=True)
    # Puts the log into the page cache with another program, because child processes would start
    # with this program's memory.
    subprocess.run(["cat", log], stdout=subprocess.DEVNULL, check=True)
    return log


def run(command):
    """The seconds that a program took, and its peak memory in bytes."""
    begun = time.perf_counter()
    # Not /dev/null, because grep would not count then.
    with tempfile.TemporaryFile() as output:
        program = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output)
    _, status, usage = os.wait4(program.pid, 0)
    seconds = time.perf_counter() - begun
    program.returncode = os.waitstatus_to_exitcode(status)
    if program.returncode != 0:
        raise SystemExit(f"{command[0]} ended with {program.returncode}")
    return seconds, usage.ru_maxrss * 1024


def measure(log, lines):
    """Medians by program. They alternate, so that other load on the machine affects all alike."""
    turns = 3 if lines >= 10_000_000 else 7
    results = {name: [] for name in PROGRAMS}
    for _ in range(turns):
        for name, command in PROGRAMS.items():
            # It takes minutes where the others take seconds; one run is enough.
            if name != "lnav -n" or lines < 2_000_000 or not results[name]:
                results[name].append(run([*command, str(log)]))
    return {
        name: (statistics.median(r[0] for r in runs), max(r[1] for r in runs))
        for name, runs in results.items()
    }


def report(lines, size, results):
    own = results["logpass"][0]
    print(f"\n{lines:,} lines, {size / 1e6:.1f} MB")
    print(f"  {'':18}{'median':>10}{'logpass takes':>16}{'peak memory':>14}{'of the file':>13}")
    for name, (seconds, memory) in results.items():
        print(
            f"  {name:18}{seconds * 1000:8.1f} ms{own / seconds:14.2f} x"
            f"{memory / 1e6:11.1f} MB{memory / size:12.2f} x"
        )


def draw(measured):
    """Time against size, both logarithmic."""
    width, height, left, bottom = 640, 400, 70, 50
    lines = sorted(measured)
    seconds = [r[0] for results in measured.values() for r in results.values()]
    low, high = math.floor(math.log10(min(seconds))), math.ceil(math.log10(max(seconds)))
    first, last = math.log10(lines[0]), math.log10(lines[-1])

    def x(count):
        return left + (math.log10(count) - first) / max(last - first, 1e-9) * (width - left - 130)

    def y(value):
        return height - bottom - (math.log10(value) - low) / (high - low) * (height - bottom - 20)

    svg = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
        'font-family="sans-serif" font-size="12">',
        f'<rect width="{width}" height="{height}" fill="white"/>',
    ]
    for power in range(low, high + 1):
        at = y(10**power)
        svg.append(f'<line x1="{left}" x2="{width - 120}" y1="{at}" y2="{at}" stroke="#d0d7de"/>')
        svg.append(f'<text x="{left - 8}" y="{at + 4}" text-anchor="end">{10**power:g} s</text>')
    for count in lines:
        svg.append(
            f'<text x="{x(count)}" y="{height - bottom + 20}" text-anchor="middle">{count:,}</text>'
        )
    svg.append(f'<text x="{(width - 60) / 2}" y="{height - 8}" text-anchor="middle">lines</text>')
    for name, colour in COLOURS.items():
        points = [(x(n), y(measured[n][name][0])) for n in lines]
        path = " ".join(f"{px:.1f},{py:.1f}" for px, py in points)
        svg.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        svg += [f'<circle cx="{px:.1f}" cy="{py:.1f}" r="3" fill="{colour}"/>' for px, py in points]
    # One below the other, even if two curves end at the same height.
    label_y = 0
    for name in sorted(PROGRAMS, key=lambda name: y(measured[lines[-1]][name][0])):
        label_y = max(label_y + 14, y(measured[lines[-1]][name][0]) + 4)
        svg.append(
            f'<text x="{x(lines[-1]) + 8:.1f}" y="{label_y:.1f}" fill="{COLOURS[name]}">{name}</text>'
        )
    PICTURE.write_text("\n".join([*svg, "</svg>\n"]), encoding="utf-8")


def main():
    counts = [int(word) for argument in sys.argv[1:] for word in argument.split()]
    FOLDER.mkdir(parents=True, exist_ok=True)
    measured = {}
    for lines in counts:
        log = make_log(lines)
        measured[lines] = measure(log, lines)
        report(lines, log.stat().st_size, measured[lines])
    if len(measured) > 1:
        draw(measured)
        print(f"\nThe picture is {PICTURE}.")


if __name__ == "__main__":
    main()
