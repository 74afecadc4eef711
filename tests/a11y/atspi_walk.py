"""Walks Practorium's windows the way a screen reader meets them.

Started by atspi-check.sh inside a private D-Bus session on a virtual display.
Runs the program twice with its accessibility bridge on and drives it only
through AT-SPI actions (the "Press" a screen reader offers):

  catalogue:  main window, About box, History window, download window
  sitting:    item page, exhibit, review list, end confirmation, score
              report, post-exam page, explanation

At every stop it walks the whole tree of the program and fails on any control
that is shown, can take the keyboard focus, and has no accessible name. Every
wait polls the tree until a deadline (ATSPI_WAIT seconds, default 30), so the
test does not depend on how fast the machine is.

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
# ATSPI_VERBOSE=1 lists every focusable control checked, with its name.
VERBOSE = os.environ.get("ATSPI_VERBOSE") == "1"
# Roles whose focusable children are checked through their parent's name
# alone would hide problems; nothing is skipped, but these are never pressed.
PRESSABLE = {pyatspi.ROLE_PUSH_BUTTON, pyatspi.ROLE_LINK, pyatspi.ROLE_CHECK_BOX, pyatspi.ROLE_RADIO_BUTTON}


class Failed(Exception):
    pass


def states(acc):
    try:
        return acc.getState()
    except Exception:
        return None


def name_of(acc):
    try:
        return acc.name or ""
    except Exception:
        return ""


def role_of(acc):
    try:
        return acc.getRole()
    except Exception:
        return None


def children(acc):
    try:
        count = acc.childCount
    except Exception:
        return []
    # A malformed tree must not make the walk run for ever.
    found = []
    for i in range(min(count, 5000)):
        try:
            child = acc.getChildAtIndex(i)
        except Exception:
            child = None
        if child is not None:
            found.append(child)
    return found


def walk(acc, path=(), depth=0):
    """Yields (accessible, path) for every node shown under `acc`."""
    if depth > 40:
        return
    for child in children(acc):
        state = states(child)
        if state is None or not state.contains(pyatspi.STATE_VISIBLE):
            continue
        here = path + ("%s '%s'" % (child.getRoleName(), name_of(child)),)
        yield child, here
        yield from walk(child, here, depth + 1)


class Program:
    def __init__(self, program):
        env = dict(os.environ)
        env.pop("QT_QPA_PLATFORM", None)
        env["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        env["QT_ACCESSIBILITY"] = "1"
        self.process = subprocess.Popen([program], env=env)
        self.app = None
        self.checked = 0

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()

    def poll(self, what, probe):
        """Calls probe() until it returns something, or fails after WAIT."""
        deadline = time.monotonic() + WAIT
        while True:
            if self.process.poll() is not None:
                raise Failed("the program ended (status %d) while waiting for %s" % (self.process.returncode, what))
            if self.app is not None:
                try:
                    self.app.clearCache()
                except Exception:
                    pass
            found = probe()
            if found:
                return found
            if time.monotonic() > deadline:
                raise Failed("no %s after %.0f seconds" % (what, WAIT))
            time.sleep(0.2)

    def find_app(self):
        def probe():
            desktop = pyatspi.Registry.getDesktop(0)
            for app in children(desktop):
                try:
                    if app.get_process_id() == self.process.pid:
                        return app
                except Exception:
                    continue
            return None

        self.app = self.poll("Practorium on the accessibility bus", probe)

    def window(self, pattern):
        """The shown top-level window whose name matches `pattern`."""
        expression = re.compile(pattern)

        def probe():
            for window in children(self.app):
                state = states(window)
                if state is not None and state.contains(pyatspi.STATE_SHOWING) and expression.search(name_of(window)):
                    return window
            return None

        return self.poll("window matching /%s/" % pattern, probe)

    def control(self, window, name, roles=PRESSABLE):
        def probe():
            for acc, _ in walk(window):
                if role_of(acc) in roles and name_of(acc) == name and states(acc).contains(pyatspi.STATE_SHOWING):
                    return acc
            return None

        return self.poll("control '%s' in '%s'" % (name, name_of(window)), probe)

    def press(self, window, name):
        acc = self.control(window, name)
        action = acc.queryAction()
        names = [action.getName(i).lower() for i in range(action.nActions)]
        for wanted in ("press", "click", "jump"):
            if wanted in names:
                action.doAction(names.index(wanted))
                return
        raise Failed("'%s' offers no press action (it offers %s)" % (name, names))

    def announced_after(self, window, name, wanted):
        """Presses `name` and waits until a label's name changes to one of `wanted`."""
        heard = []

        def listener(event):
            try:
                if role_of(event.source) == pyatspi.ROLE_LABEL:
                    heard.append(name_of(event.source))
            except Exception:
                pass

        kind = "object:property-change:accessible-name"
        pyatspi.Registry.registerEventListener(listener, kind)
        try:
            self.press(window, name)
            context = GLib.MainContext.default()

            def probe():
                while context.pending():
                    context.iteration(False)
                return [text for text in heard if text in wanted]

            return self.poll("a label announcing one of %s" % (wanted,), probe)
        finally:
            pyatspi.Registry.deregisterEventListener(listener, kind)

    def check(self, stop):
        """Fails on every shown, focusable control without a name."""
        unnamed = []
        count = 0
        self.app.clearCache()
        for window in children(self.app):
            state = states(window)
            if state is None or not state.contains(pyatspi.STATE_SHOWING):
                continue
            for acc, path in walk(window, (name_of(window),)):
                state = states(acc)
                if not state.contains(pyatspi.STATE_FOCUSABLE):
                    continue
                count += 1
                if VERBOSE:
                    print("    " + " > ".join(path))
                if not name_of(acc).strip():
                    unnamed.append(" > ".join(path))
        self.checked += count
        print("%-28s %3d focusable controls, %d without a name" % (stop, count, len(unnamed)))
        for path in unnamed:
            print("    unnamed: " + path)
        return unnamed


def catalogue(program):
    unnamed = []
    p = Program(program)
    try:
        p.find_app()
        main = p.window(r"^Practorium$")
        p.control(main, "Start Exam")
        unnamed += p.check("main window")
        p.press(main, "About")
        about = p.window(r"^About ")
        unnamed += p.check("about box")
        p.press(about, "OK")
        p.press(main, "History")
        history = p.window(r"^History$")
        unnamed += p.check("history window")
        p.press(history, "Close")
        p.press(main, "Download exams")
        download = p.window(r"^Download Exams$")
        unnamed += p.check("download window")
        # The bar is not focusable, but tells its name and value.
        bar = p.control(download, "Download progress", roles={pyatspi.ROLE_PROGRESS_BAR})
        value = bar.queryValue()
        print("progress bar: %g of %g..%g" % (value.currentValue, value.minimumValue, value.maximumValue))
    finally:
        p.close()
    return unnamed


def sitting(program):
    unnamed = []
    p = Program(program)
    try:
        p.find_app()
        main = p.window(r"^Practorium$")
        p.press(main, "Start Exam")
        exam = p.window(r"^Exam: .* Item 1 of")
        unnamed += p.check("item page")
        # On to the first item with an exhibit.
        for _ in range(40):
            if any(role_of(a) == pyatspi.ROLE_PUSH_BUTTON and name_of(a) == "Exhibit" for a, _ in walk(exam)):
                break
            before = name_of(exam)
            p.press(exam, "Next")
            p.poll("the next item", lambda: name_of(exam) != before)
        p.press(exam, "Exhibit")
        exhibit = p.window(r"^Exhibit$")
        unnamed += p.check("exhibit window")
        p.press(exhibit, "Close")
        p.press(exam, "Review")
        review = p.window(r"^Item Review - ")
        unnamed += p.check("review list")
        p.press(review, "End Exam")
        box = p.window(r"^Practorium$")
        p.control(box, "Yes")
        unnamed += p.check("end confirmation")
        p.press(box, "Yes")
        report = p.window(r"^Score Report - ")
        unnamed += p.check("score report")
        p.press(report, "Close")
        p.control(exam, "Why?")
        unnamed += p.check("post-exam page")
        # The verdict is announced as the next item shows, and back.
        print("announced: %s" % p.announced_after(exam, "Next", ("Correct", "Incorrect")))
        print("announced: %s" % p.announced_after(exam, "Previous", ("Correct", "Incorrect")))
        p.control(exam, "Why?")
        p.press(exam, "Why?")
        p.window(r"^Explaination - Question: ")
        unnamed += p.check("explanation window")
    finally:
        p.close()
    return unnamed


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        unnamed = catalogue(sys.argv[1]) + sitting(sys.argv[1])
    except Failed as failure:
        print("FAIL: %s" % failure, file=sys.stderr)
        return 1
    if unnamed:
        print("FAIL: %d focusable controls have no accessible name" % len(unnamed), file=sys.stderr)
        return 1
    print("every focusable control has a name")
    return 0


if __name__ == "__main__":
    sys.exit(main())
