"""Bleedwise with its window open, as a person and a screen reader find it."""

import os
import pathlib
import signal

from accessibility import AccessibilityBus
from waiting import LIMIT_IN_SECONDS, answer, eventually, expect_soon, settled

FIELDS = {"width": "Trim width (mm)", "height": "Trim height (mm)", "bleed": "Bleed (mm)"}


class Row:
    """What a row of the list says."""

    def __init__(self, element):
        self.name = element.name
        self.state, _, self.summary = element.description.partition(". ")
        self.is_selected = "selected" in element.states


class Program:
    def __init__(self, desktop, build, environment=None, hides_ghostscript=True, has_focus=True,
                 folder=None):
        """Starts it, from another folder if need be, and waits for its window. Where the
        Ghostscripts that are installed are hidden from it, it finds the test's own or none."""
        self.desktop = desktop
        variables = dict(environment or {})
        if hides_ghostscript:
            variables["LD_PRELOAD"] = os.fspath(build / "tests/EndToEnd/HiddenGhostscript.so")
        self.process = desktop.start((folder or build) / "bleedwise", cwd=desktop.files,
                                     environment=variables)
        self.application = AccessibilityBus(desktop).application(self.process.pid)
        eventually(self._is_active if has_focus else self._is_shown, "a window")

    # The tree.

    def windows(self):
        return self.application.children()

    def window(self):
        return self.windows()[0]

    def find(self, role, name):
        """The shown element of this role and name, or None."""
        return answer(lambda: next(
            (element for element in self.application.descendants()
             if element.name == name and element.role == role and element.is_showing()), None))

    def get(self, role, name):
        return eventually(lambda: self.find(role, name), f"{role} {name!r}")

    def button(self, name):
        return self.get("push button", name)

    def is_available(self, name):
        return self.button(name).description != "Unavailable"

    def focused_names(self):
        """Of the elements with the keyboard focus, without the panes around them."""
        return answer(lambda: [
            element.name for element in self.application.descendants()
            if "focused" in element.states and element.role not in ("panel", "filler")])

    def focus_by_tab(self, name):
        while name not in (before := self.focused_names()):
            self.desktop.press("Tab")
            eventually(lambda: self.focused_names() != before, "another focus")

    # The application menu.

    def open_menu(self):
        self.desktop.click(self.button("Application menu").centre)
        self.get("menu item", "Quit")

    def menu_items(self):
        """Their texts, from the first to the last."""
        return answer(lambda: [name for _, name in sorted(
            (element.extents[1], element.name) for element in self.window().descendants()
            if element.role == "menu item" and element.is_showing())])

    # The list.

    def row_elements(self):
        files = next(element for element in self.window().descendants()
                     if element.name == "Files" and element.role == "list")
        return [element for element in files.children() if element.role == "list item"]

    def rows(self):
        return answer(lambda: [Row(element) for element in self.row_elements()])

    def names(self):
        return [row.name for row in self.rows()]

    def states(self):
        return [row.state for row in self.rows()]

    def selected_name(self):
        selected = [row.name for row in self.rows() if row.is_selected]
        return selected[0] if len(selected) == 1 else None

    def summary(self, name):
        return next((row.summary for row in self.rows() if row.name == name), None)

    def row_button(self, row_name, button_name):
        def find():
            for row in self.row_elements():
                if row.name == row_name:
                    for element in row.children():
                        if element.name == button_name and element.is_showing():
                            return element
            return None

        return eventually(find, f"{button_name} of {row_name}")

    def has_row_button(self, row_name, button_name):
        row = next(element for element in self.row_elements() if element.name == row_name)
        return any(element.name == button_name and element.is_showing()
                   for element in row.children())

    def select(self, name):
        left, top, _, height = self.settled_extents(name)
        self.desktop.click((left + 60, top + height // 2))
        expect_soon(self.selected_name, name)

    def settled_extents(self, name):
        """Where a row is when it no longer moves: one that has just been added may still lie on another."""
        seen = [None]

        def find():
            row = next(element for element in self.row_elements() if element.name == name)
            seen.append(row.extents)
            return seen[-1] if seen[-1] == seen[-2] else None

        return eventually(find, f"the place of {name}")

    # Sizes, options and status.

    def field(self, field):
        return self.get("text", FIELDS[field]).text

    def enter(self, field, text):
        """Types over what is in a size field."""
        element = self.get("text", FIELDS[field])
        self.desktop.click(element.centre)
        eventually(lambda: "focused" in element.states, "a focused field")
        self.desktop.press("ctrl+a")
        self.desktop.type(text)
        expect_soon(lambda: element.text, text)
        self.desktop.press("Return")
        eventually(lambda: "focused" not in element.states, "a field without the focus")

    def choose_mode(self, mode):
        self.desktop.click(self.get("radio button", mode).centre)
        eventually(lambda: self.is_mode(mode), f"the mode {mode}")

    def is_mode(self, mode):
        return "checked" in self.get("radio button", mode).states

    def includes_bleed(self):
        return "checked" in self.get("check box", "PDF already includes bleed").states

    def status(self):
        return next(element for element in self.window().descendants()
                    if element.role == "status bar").name

    # The console and the popover.

    def open_console(self):
        self.desktop.click(self.button("Console").centre)
        settled(lambda: self.console().extents)  # it comes up from below

    def console(self):
        return self.get("list", "Console lines")

    def log(self):
        """The console's lines, as many as the window has at hand around those that it shows."""
        return self._texts_of_lines(lambda _: True)

    def shown_log(self):
        """The console's lines that can be seen whole."""
        _, top, _, height = self.console().extents

        def is_inside(line):
            _, line_top, _, line_height = line.extents
            return top <= line_top and line_top + line_height <= top + height

        return self._texts_of_lines(is_inside)

    def _texts_of_lines(self, is_wanted):
        lines = answer(lambda: [
            (line.extents[1], line.name) for line in self.console().children()
            if line.role == "list item" and line.is_showing() and is_wanted(line)])
        return [text for _, text in sorted(lines)]

    # Adding files.

    def open_chooser(self):
        self.desktop.press("ctrl+o")
        return self.await_chooser()

    def await_chooser(self):
        def active():
            for window in self.windows():
                if window.name == "Choose PDFs" and "active" in window.states:
                    return window
            return None

        return eventually(active, "the file chooser")

    def await_chooser_end(self):
        expect_soon(lambda: [window.name for window in self.windows()], ["Bleedwise"])
        eventually(self._is_active, "the active main window")

    def add(self, *files):
        """Through the open dialog."""
        self.open_chooser()
        self.desktop.type(" ".join(f'"{file}"' for file in files))
        self.desktop.press("Return")
        self.await_chooser_end()
        names = {pathlib.Path(file).name for file in files}
        eventually(lambda: names <= set(self.names()), "the files in the list")

    # Running and ending.

    def convert(self):
        self.desktop.click(self.button("Convert").centre)

    def bring_to_front(self):
        window = self.desktop.run("xdotool", "search", "--onlyvisible", "--all",
                                  "--pid", str(self.process.pid), "--name", "^Bleedwise$")
        self.desktop.run("xdotool", "windowactivate", window.split()[0])
        eventually(self._is_active, "the active window")

    def close(self):
        self.desktop.click(self.button("Close").centre)

    def wait(self):
        """The exit status, negative after a signal."""
        return self.process.wait(LIMIT_IN_SECONDS)

    def end(self):
        self.close()
        status = self.wait()
        if status != 0:
            raise AssertionError(f"the program ended with {status}")

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()

    def _is_shown(self):
        windows = self.windows()
        return windows and windows[0].children() and windows[0].is_showing()

    def _is_active(self):
        return self._is_shown() and "active" in self.window().states
