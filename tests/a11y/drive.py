"""Drives the window through the desktop's accessibility service, as a screen reader user would.

Fails on any shown control or focusable part without a name, on every screen; checks that a
dragged box appears as a child of the page canvas; does a whole job by keyboard (search, Redact
All, a box made by keys, export) and waits for the verdict to be announced and focused.
Run by tests/a11y/run, inside a private X server and session bus.
"""

import os
import subprocess
import sys
import time

import pyatspi
from gi.repository import GLib

from sample_pdf import write_sample_pdf

APP, WORK = sys.argv[1], sys.argv[2]

# Parts a person operates or reads as a unit: each needs a name.
NAMED_ROLES = {
    "push button", "toggle button", "check box", "radio button", "combo box", "text", "entry",
    "password text", "spin button", "slider", "list", "list item", "table", "table cell", "tree",
    "tree table", "tree item", "page tab", "link", "image", "icon", "scroll pane", "canvas",
    "document frame", "page", "menu item", "check menu item", "radio menu item", "heading",
}

failures = []
announcements = []


def fail(message):
    failures.append(message)
    print("FAIL:", message, flush=True)


def pump(seconds=0.0):
    context = GLib.MainContext.default()
    end = time.monotonic() + seconds
    while True:
        while context.pending():
            context.iteration(False)
        if time.monotonic() >= end:
            return
        time.sleep(0.02)


def wait_for(what, predicate, timeout=30.0):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        pump()
        try:
            value = predicate()
        except Exception:  # a node went away while being read
            value = None
        if value:
            return value
        time.sleep(0.1)
    raise TimeoutError("timed out waiting for " + what)


def states(node):
    try:
        return node.getState()
    except Exception:
        return None


def showing(node):
    s = states(node)
    return s is not None and s.contains(pyatspi.STATE_SHOWING)


def walk(node, depth=0):
    """Every shown node below `node`, depth first, in the tree's order."""
    if depth > 60:
        return
    try:
        children = [node.getChildAtIndex(i) for i in range(min(node.childCount, 2000))]
    except Exception:
        return
    for child in children:
        if child is None or not showing(child):
            continue
        yield child
        yield from walk(child, depth + 1)


def describe(node):
    try:
        path = []
        n = node
        while n is not None and len(path) < 6:
            path.append("%s %r" % (n.getRoleName(), n.name))
            n = n.parent
        return " < ".join(path)
    except Exception:
        return "?"


def check_names(root, screen):
    for node in walk(root):
        try:
            role, name = node.getRoleName(), node.name
        except Exception:
            continue
        focusable = states(node).contains(pyatspi.STATE_FOCUSABLE)
        if (role in NAMED_ROLES or focusable) and not (name or "").strip():
            fail("%s: nameless %s" % (screen, describe(node)))


def find(root, role=None, name=None, prefix=None):
    for node in walk(root):
        try:
            if role and node.getRoleName() != role:
                continue
            if name is not None and node.name != name:
                continue
            if prefix is not None and not (node.name or "").startswith(prefix):
                continue
            return node
        except Exception:
            continue
    return None


focus = [None]


def on_focus(event):
    if event.detail1:
        focus[0] = event.source


def canvas_child(canvas, prefix):
    """A page's part by the start of its name, on pages in view or not."""
    for p in range(canvas.childCount):
        page = canvas.getChildAtIndex(p)
        if page is None:
            continue
        if (page.name or "").startswith(prefix):
            return page
        for c in range(page.childCount):
            part = page.getChildAtIndex(c)
            if part is not None and (part.name or "").startswith(prefix):
                return part
    return None


def focused(root=None):
    """What the focus events last named, as a screen reader follows it."""
    pump()
    return focus[0]


def xdotool(*args):
    subprocess.run(["xdotool", *args], check=True)


def key(*keys):
    for k in keys:
        xdotool("key", "--clearmodifiers", k)
        pump(0.15)


def type_text(text):
    xdotool("type", "--delay", "20", text)
    pump(0.2)


def tab_to(root, predicate, what, limit=60):
    """Presses Tab until the focus is on what `predicate` accepts."""
    seen = []
    for _ in range(limit):
        node = focused(root)
        if node is not None and predicate(node):
            return node
        seen.append(describe(node) if node is not None else "nothing")
        key("Tab")
    raise AssertionError("Tab never reached %s; focus went: %s" % (what, " | ".join(seen[:12])))


def focus_window():
    """Gives the main window the keyboard back, as a window manager does when a dialog closes."""
    pump(0.5)
    xdotool("search", "--sync", "--onlyvisible", "--name", "^Norvane - Redaction Tool$", "windowfocus", "--sync")
    pump(0.3)


def center(node):
    box = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    return box.x + box.width // 2, box.y + box.height // 2, box


def on_name_change(event):
    try:
        if event.source.getRoleName() == "alert" and event.source.name:
            announcements.append(event.source.name)
    except Exception:
        pass


def main():
    pdf = os.path.join(WORK, "agreement.pdf")
    # The phone number sits under a box someone drew over it: a failed redaction.
    write_sample_pdf(pdf, [["Employee: Jordan A. Whitfield", "Phone 555-0100", "Start date March 14"],
                           ["Second page", "Signed by Whitfield"]],
                     drawn_over=[b"q 0 0 0 rg 114 678 66 16 re f Q"])
    bus = subprocess.Popen(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"],
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    time.sleep(0.5)
    env = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_QPA_PLATFORM="xcb")
    app_process = subprocess.Popen([APP], env=env)
    try:
        pyatspi.Registry.registerEventListener(on_name_change, "object:property-change:accessible-name")
        pyatspi.Registry.registerEventListener(on_name_change, "object:state-changed:showing")
        pyatspi.Registry.registerEventListener(on_focus, "object:state-changed:focused")
        desktop = pyatspi.Registry.getDesktop(0)
        app = wait_for("the app on the accessibility bus",
                       lambda: next((a for a in desktop if a is not None and a.name == "Norvane"), None))
        window = wait_for("the main window", lambda: find(app, role="frame"))
        focus_window()

        # Every section, by keyboard: the sidebar's rows.
        check_names(window, "landing")
        sidebar = wait_for("the sidebar", lambda: find(window, role="list", name="Sections"))
        for section in ("Recent Redactions", "How to Use", "Redaction"):
            tab_to(window, lambda n: n == sidebar or n.parent == sidebar, "the sidebar")
            key("Home")
            for _ in range(8):
                if focused().name == section:
                    break
                key("Down")
            else:
                raise AssertionError("the arrows never reached " + section)
            key("Return")
            pump(1.0)
            check_names(window, section)

        # Open the PDF the way a keyboard user does.
        key("ctrl+o")
        wait_for("the open dialog", lambda: find(app, role="dialog") or find(app, role="file chooser"))
        pump(0.5)
        key("ctrl+a")
        type_text(pdf)
        key("Return")
        focus_window()
        canvas = wait_for("the page canvas", lambda: find(window, name="Pages"))
        wait_for("the pages", lambda: canvas.childCount >= 2)
        check_names(window, "editing")

        # A box dragged with the mouse is a child of its page.
        page = canvas.getChildAtIndex(0)
        x, y, box = center(page)
        xdotool("mousemove", str(box.x + box.width // 4), str(box.y + box.height // 3))
        xdotool("mousedown", "1")
        xdotool("mousemove", str(box.x + box.width // 2), str(box.y + box.height // 3 + 30))
        xdotool("mouseup", "1")
        wait_for("the dragged box as a canvas child",
                 lambda: canvas_child(canvas, "Redaction 1 of 1, page 1"))

        # The whole job by keyboard: search, Redact All, a box by keys, export.
        key("ctrl+f")
        wait_for("the search field focused", lambda: (focused(window) or page).getRoleName() == "text")
        type_text("Whitfield")
        tab_to(window, lambda n: n.name == "Find Text", "Find Text")
        key("space")
        tab_to(window, lambda n: n.name == "Redact All", "Redact All")
        key("space")
        wait_for("three pending regions", lambda: canvas_child(canvas, "Redaction 3 of 3"))
        tab_to(window, lambda n: n.name == "Pages", "the page canvas")
        key("b")
        wait_for("the new box", lambda: canvas_child(canvas, "New box"))
        key("Right", "Right", "shift+Down", "Return")
        wait_for("the keyboard box as a region", lambda: canvas_child(canvas, "Redaction 4 of 4"))
        check_names(window, "editing with regions")

        # What the file hides: the line under its name, its list, the covered text redacted.
        # The inspection runs behind everything else at the lowest priority: wait for its line.
        wait_for("the inspection's summary", lambda: find(window, prefix="Hidden in this PDF: 1 failed redaction"), 120)
        tab_to(window, lambda n: "1 failed redaction" in n.name, "the inspection's summary")
        key("space")
        tab_to(window, lambda n: n.name == "Redact All Covered Text", "Redact All Covered Text")
        check_names(window, "hidden content")
        key("space")
        wait_for("the covered text as a region", lambda: canvas_child(canvas, "Redaction 5 of 5"))

        before = len(announcements)
        key("ctrl+e")
        wait_for("the save dialog", lambda: find(app, role="dialog") or find(app, role="file chooser"))
        pump(0.5)
        key("ctrl+a")
        type_text(os.path.join(WORK, "agreement-redacted.pdf"))
        key("Return")
        focus_window()
        said = wait_for("the verdict announced",
                        lambda: next((a for a in announcements[before:]
                                      if a.startswith(("Verification Passed", "Needs Review"))), None), 120)
        if not said.startswith("Verification Passed"):
            fail("the copy with every hidden place redacted did not pass: %r" % said)
        if "pages checked" not in said:
            fail("the verdict announcement has no page count: %r" % said)
        verdicts = ("Verification Passed", "Needs Review")
        try:
            wait_for("the verdict focused", lambda: focused() is not None and focused().name in verdicts)
        except TimeoutError:
            raise AssertionError("the verdict %r was said but the focus is on %s" % (said, describe(focused())))
        if focused().getRoleName() != "heading":
            fail("the verdict is not a heading: %s" % describe(focused()))
        check_names(window, "verified")
        if not os.path.exists(os.path.join(WORK, "agreement-redacted.pdf")):
            fail("no secure copy was written")
    except Exception as error:  # a step that could not be taken is a failure, with its reason
        fail("%s: %s" % (type(error).__name__, error))
    finally:
        app_process.terminate()
        try:
            app_process.wait(10)
        except subprocess.TimeoutExpired:
            app_process.kill()
        bus.terminate()
    if failures:
        print("%d accessibility failures" % len(failures))
        sys.exit(1)
    print("accessibility walk passed; announcements: %s" % announcements)


main()
