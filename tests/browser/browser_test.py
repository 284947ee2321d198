#!/usr/bin/env python3
"""Opens a web scene written by the library in headless Chromium and checks what a person sees.

Usage: browser_test.py [--scene-subdir=NAME] WRITER [ARG ...]
  WRITER and its arguments write a scene directory; the argument "{dir}" is replaced by the
  directory to write (e.g. `lumo2d triangulate pts.txt --web {dir}`). When the writer puts the
  scene into a subdirectory of {dir} (`lumo2d demo {dir}` writes {dir}/web), name it with
  --scene-subdir. The scene is served from 127.0.0.1 only.

Checks: the page threw no script error (its own error hook and Chromium's console log), the
viewer loaded the mesh, and a screenshot of the canvas shows model-coloured pixels, i.e. the
canvas is not only background. Then probe.html (beside this script, copied next to the page)
drives the page in a frame: the render mode list, mouse drag, wheel, one-finger and pinch
touch gestures. Without Chromium the test is skipped (exit status 77); scripts/install-deps.sh
--tests installs it.
"""
import functools
import http.server
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import threading
import zlib

CHROMIUM_FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--disable-dev-shm-usage",  # containers often have a tiny /dev/shm
]
VIRTUAL_TIME_MS = 10000   # budget of page time for loading and drawing the scene
RUN_TIMEOUT_S = 120       # wall-clock bound of one Chromium run
WINDOW = (1100, 900)


def fail(message):
    print("FAIL: " + message)
    print("0 passed, 1 failed")
    sys.exit(1)


def find_chromium():
    # CHROMIUM, when set, names the browser to use (and nothing else is looked for).
    if "CHROMIUM" in os.environ:
        return shutil.which(os.environ["CHROMIUM"])
    for name in ("chromium", "chromium-browser"):
        path = shutil.which(name)
        if path:
            return path
    return None


# The exit status that CTest reports as a skipped test (SKIP_RETURN_CODE).
SKIP = 77


def require_chromium():
    path = find_chromium()
    if not path:
        print("SKIPPED: no Chromium found (chromium or chromium-browser on PATH, or $CHROMIUM); "
              "bash scripts/install-deps.sh --tests installs it")
        sys.exit(SKIP)
    return path


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    requested = []

    def log_message(self, fmt, *args):
        QuietHandler.requested.append(self.path)


def serve(directory):
    handler = functools.partial(QuietHandler, directory=directory)
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server


def run_chromium(chromium, work, url, extra):
    profile = tempfile.mkdtemp(prefix="profile-", dir=work)
    cmd = [chromium] + CHROMIUM_FLAGS + [
        "--user-data-dir=" + profile,
        "--window-size=%d,%d" % WINDOW,
        "--virtual-time-budget=%d" % VIRTUAL_TIME_MS,
        "--enable-logging=stderr", "--v=0",
    ] + extra + [url]
    try:
        result = subprocess.run(cmd, capture_output=True, text=True, timeout=RUN_TIMEOUT_S)
    except subprocess.TimeoutExpired:
        fail("chromium did not finish within %d s" % RUN_TIMEOUT_S)
    return result


def console_errors(stderr, failed_loads=True):
    """Uncaught exceptions (and failed loads) as Chromium logs them from the page."""
    return [line for line in stderr.splitlines()
            if "CONSOLE" in line and ("Uncaught" in line or (failed_loads and "Failed to load" in line))]


def read_png(path):
    """Minimal PNG reader (8-bit RGB or RGBA, not interlaced): returns width, height, rows of RGB."""
    with open(path, "rb") as f:
        data = f.read()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        raise ValueError("not a PNG file")
    pos, idat, header = 8, b"", None
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        pos += 12 + length
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat += body
        elif kind == b"IEND":
            break
    width, height, depth, ctype, _, _, interlace = header
    if depth != 8 or ctype not in (2, 6) or interlace:
        raise ValueError("unsupported PNG layout (depth %d, colour type %d)" % (depth, ctype))
    bpp = 3 if ctype == 2 else 4
    raw = zlib.decompress(idat)
    stride = width * bpp
    rows, prev, i = [], bytearray(stride), 0
    for _ in range(height):
        ftype, line = raw[i], bytearray(raw[i + 1:i + 1 + stride])
        i += 1 + stride
        for x in range(stride):
            a = line[x - bpp] if x >= bpp else 0
            b = prev[x]
            c = prev[x - bpp] if x >= bpp else 0
            if ftype == 1:
                line[x] = (line[x] + a) & 255
            elif ftype == 2:
                line[x] = (line[x] + b) & 255
            elif ftype == 3:
                line[x] = (line[x] + (a + b) // 2) & 255
            elif ftype == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                pred = a if pa <= pb and pa <= pc else (b if pb <= pc else c)
                line[x] = (line[x] + pred) & 255
        rows.append([tuple(line[x:x + 3]) for x in range(0, stride, bpp)])
        prev = line
    return width, height, rows


def main():
    if len(sys.argv) < 2:
        print(__doc__)
        sys.exit(2)
    args, subdir = sys.argv[1:], ""
    if args and args[0].startswith("--scene-subdir="):
        subdir = args.pop(0).split("=", 1)[1]
    chromium = require_chromium()
    work = tempfile.mkdtemp(prefix="lumo2d-browser-")
    try:
        target = os.path.join(work, "out")
        writer = [a.replace("{dir}", target) for a in args]
        scene = os.path.join(target, subdir) if subdir else target
        result = subprocess.run(writer, capture_output=True, text=True, timeout=300)
        if result.returncode != 0:
            fail("the scene writer failed (%d):\n%s%s" % (result.returncode, result.stdout, result.stderr))
        for name in ("index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js", "3d.obj"):
            if not os.path.isfile(os.path.join(scene, name)):
                fail("the scene lacks " + name)
        faces = sum(1 for line in open(os.path.join(scene, "3d.obj")) if line.startswith("f "))

        shutil.copy(os.path.join(os.path.dirname(os.path.abspath(__file__)), "probe.html"), scene)
        server = serve(scene)
        base = "http://127.0.0.1:%d/" % server.server_address[1]
        url = base + "index.html"
        try:
            dom_run = run_chromium(chromium, work, url, ["--dump-dom"])
            shot = os.path.join(work, "shot.png")
            shot_run = run_chromium(chromium, work, url, ["--screenshot=" + shot])
            probe_run = run_chromium(chromium, work, base + "probe.html", ["--dump-dom"])
        finally:
            server.shutdown()

        # 1. no script error: neither the page's own hook nor Chromium's console saw one
        dom = dom_run.stdout
        error = re.search(r'data-script-error="([^"]*)"', dom)
        if error:
            fail("the page reported a script error: " + error.group(1))
        logged = console_errors(dom_run.stderr) + console_errors(shot_run.stderr)
        if logged:
            fail("chromium logged script errors:\n" + "\n".join(logged))
        if "/3d.obj" not in QuietHandler.requested:
            fail("the page never requested 3d.obj (requests: %s)" % QuietHandler.requested)

        # 2. the viewer loaded every triangle
        canvas = re.search(r'<canvas[^>]*id="cv"[^>]*>', dom)
        if not canvas:
            fail("no canvas with id cv in the page:\n" + dom[:2000])
        state = re.search(r'data-state="([^"]*)"', canvas.group(0))
        if not state or state.group(1) != "ready":
            fail("viewer state is %s, not ready: %s" % (state.group(1) if state else "unset", canvas.group(0)))
        loaded = re.search(r'data-faces="(\d+)"', canvas.group(0))
        if not loaded or int(loaded.group(1)) != faces:
            fail("viewer loaded %s faces, the file has %d" % (loaded.group(1) if loaded else "no", faces))

        # 3. the canvas shows the mesh: model-coloured pixels (#CAA618, shaded) against a grey
        # background gradient, whose red and blue never differ by much
        if not os.path.isfile(shot):
            fail("chromium wrote no screenshot:\n" + shot_run.stderr[-2000:])
        width, height, rows = read_png(shot)
        mesh_pixels = sum(1 for row in rows for (r, g, b) in row if r - b > 60 and g - b > 40)
        if mesh_pixels < 500:
            fail("the screenshot (%dx%d) shows %d mesh pixels: the canvas is background only" %
                 (width, height, mesh_pixels))
        print("scene: %d triangles; screenshot %dx%d with %d mesh pixels; no script error" %
              (faces, width, height, mesh_pixels))

        # 4. a person's interactions work: mode list, mouse, wheel, touch
        probe = re.search(r'<pre id="result">(.*?)</pre>', probe_run.stdout, re.S)
        report = probe.group(1).strip() if probe else "(no result)"
        # (the probe asks for a missing file on purpose, so only uncaught errors count here)
        uncaught = console_errors(probe_run.stderr, failed_loads=False)
        if not report.endswith("DONE") or "FAIL" in report or uncaught:
            fail("the interaction probe failed:\n" + report + "\n" + "\n".join(uncaught))
        print("interactions:\n  " + report.replace("\n", "\n  "))
        print("1 passed, 0 failed")
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
