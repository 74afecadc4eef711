"""Walks Practorium's windows the way a screen reader meets them: started by
atspi-check.sh, it runs the program twice, drives it only by AT-SPI press
actions and fails on any shown focusable control without an accessible name.
Every wait polls until a deadline (ATSPI_WAIT seconds, default 30).

usage: atspi_walk.py PROGRAM
"""

import os
import re
import subprocess
import sys
import time

import pyatspi
from gi.repository import GLib

WAIT = float(os.environ.get("ATSPI_WAIT", "30"))
PRESSABLE = {pyatspi.ROLE_PUSH_BUTTON, pyatspi.ROLE_LINK, pyatspi.ROLE_CHECK_BOX, pyatspi.ROLE_RADIO_BUTTON}


def safe(call, default=None):
    """A property of an object that may have gone away meanwhile."""
    try:
        return call()
    except Exception:
        return default


def name_of(acc):
    return safe(lambda: acc.name, "") or ""


def has(acc, state):
    return safe(lambda: acc.getState().contains(state), False)


def children(acc):
    # Bounded, so that a malformed tree cannot keep the walk going for ever.
    count = min(safe(lambda: acc.childCount, 0), 5000)
    return [c for c in (safe(lambda i=i: acc.getChildAtIndex(i)) for i in range(count)) if c is not None]


def walk(acc, path=(), depth=0):
    """(accessible, path) of every node not hidden under `acc`."""
    for child in children(acc) if depth < 40 else []:
        if has(child, pyatspi.STATE_VISIBLE):
            here = path + ("%s '%s'" % (safe(child.getRoleName, "?"), name_of(child)),)
            yield child, here
            yield from walk(child, here, depth + 1)


class Program:
    def __init__(self, program):
        env = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_ACCESSIBILITY="1")
        env.pop("QT_QPA_PLATFORM", None)
        self.process = subprocess.Popen([program], env=env)
        self.app = None
        self.unnamed = []

    def poll(self, what, probe):
        """probe()'s first true answer, or a failure after WAIT seconds."""
        deadline = time.monotonic() + WAIT
        while True:
            if self.process.poll() is not None:
                raise SystemExit("FAIL: the program ended (status %d) while waiting for %s" % (self.process.returncode, what))
            if self.app is not None:
                safe(self.app.clearCache)
            found = probe()
            if found:
                return found
            if time.monotonic() > deadline:
                raise SystemExit("FAIL: no %s after %.0f seconds" % (what, WAIT))
            time.sleep(0.2)

    def window(self, pattern):
        shown = lambda: next((w for w in children(self.app)
                              if has(w, pyatspi.STATE_SHOWING) and re.search(pattern, name_of(w))), None)
        return self.poll("window matching /%s/" % pattern, shown)

    def control(self, window, name, roles=PRESSABLE):
        found = lambda: next((a for a, _ in walk(window) if safe(a.getRole) in roles and name_of(a) == name
                              and has(a, pyatspi.STATE_SHOWING)), None)
        return self.poll("control '%s' in '%s'" % (name, name_of(window)), found)

    def press(self, window, name):
        action = self.control(window, name).queryAction()
        names = [action.getName(i).lower() for i in range(action.nActions)]
        if "press" not in names:
            raise SystemExit("FAIL: '%s' offers no press action (only %s)" % (name, names))
        action.doAction(names.index("press"))

    def announced_after(self, window, name, wanted):
        """Presses `name`; the label names among `wanted` announced after it."""
        heard, kind, context = [], "object:property-change:accessible-name", GLib.MainContext.default()

        def listener(event):
            if safe(event.source.getRole) == pyatspi.ROLE_LABEL:
                heard.append(name_of(event.source))

        def probe():
            while context.pending():
                context.iteration(False)
            return [text for text in heard if text in wanted]

        pyatspi.Registry.registerEventListener(listener, kind)
        try:
            self.press(window, name)
            return self.poll("a label announcing one of %s" % (wanted,), probe)
        finally:
            pyatspi.Registry.deregisterEventListener(listener, kind)

    def check(self, stop):
        self.app.clearCache()
        focusable = [path for window in children(self.app) if has(window, pyatspi.STATE_SHOWING)
                     for acc, path in walk(window, (name_of(window),))
                     if has(acc, pyatspi.STATE_FOCUSABLE) and not name_of(acc).strip()]
        unnamed = [" > ".join(path) for path in focusable]
        print("%-20s %d focusable controls without a name%s" % (stop, len(unnamed), "".join("\n    " + u for u in unnamed)))
        self.unnamed += unnamed

    def visit(self, window, opener, title, stop, closer=None):
        """Presses `opener`, checks the window titled /`title`/ that opens,
        presses its `closer`; the window."""
        self.press(window, opener)
        shown = self.window(title)
        self.check(stop)
        if closer:
            self.press(shown, closer)
        return shown


def catalogue(p):
    main = p.window(r"^Practorium$")
    p.control(main, "Start Exam")
    p.check("main window")
    p.visit(main, "About", r"^About ", "about box", "OK")
    p.visit(main, "History", r"^History$", "history window", "Close")
    download = p.visit(main, "Download exams", r"^Download Exams$", "download window")
    # Not focusable, but it tells its name and value.
    p.control(download, "Download progress", {pyatspi.ROLE_PROGRESS_BAR}).queryValue()


def sitting(p):
    p.press(p.window(r"^Practorium$"), "Start Exam")
    exam = p.window(r"^Exam: .* Item 1 of")
    p.check("item page")
    for _ in range(40):  # on to the first item with an exhibit
        if any(name_of(a) == "Exhibit" and has(a, pyatspi.STATE_SHOWING) for a, _ in walk(exam)):
            break
        before = name_of(exam)
        p.press(exam, "Next")
        p.poll("the next item", lambda: name_of(exam) != before)
    p.visit(exam, "Exhibit", r"^Exhibit$", "exhibit window", "Close")
    p.press(p.visit(exam, "Review", r"^Item Review - ", "review list"), "End Exam")
    box = p.window(r"^Practorium$")
    p.control(box, "Yes")
    p.check("end confirmation")
    p.visit(box, "Yes", r"^Score Report - ", "score report", "Close")
    p.control(exam, "Why?")
    p.check("post-exam page")
    for button in ("Next", "Previous"):
        print("announced after %s: %s" % (button, p.announced_after(exam, button, ("Correct", "Incorrect"))))
    p.visit(exam, "Why?", r"^Explaination - Question: ", "explanation window")


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    unnamed = []
    for run in (catalogue, sitting):  # a failed wait ends the walk with its reason
        program = Program(sys.argv[1])
        try:
            desktop = pyatspi.Registry.getDesktop(0)
            program.app = program.poll("Practorium on the accessibility bus", lambda: next(
                (a for a in children(desktop) if safe(a.get_process_id) == program.process.pid), None))
            run(program)
            unnamed += program.unnamed
        finally:
            if program.process.poll() is None:
                program.process.kill()
            program.process.wait()
    if unnamed:
        print("FAIL: %d focusable controls have no accessible name" % len(unnamed), file=sys.stderr)
        return 1
    print("every focusable control has a name")
    return 0


if __name__ == "__main__":
    sys.exit(main())
