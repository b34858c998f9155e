#!/usr/bin/env python3
"""The rules of scripts/check-includes, each on a made-up tree of two or three files."""
import importlib.machinery
import importlib.util
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-includes"

# Headers that the made-up sources include; they include nothing themselves.
HEADERS = [
    "geometry/Rect.h", "media/PixelBuffer.h", "beautify/Library.h", "pipeline/ScreenSource.h", "pipeline/ExportQuality.h", "pipeline/CameraCircle.h",
    "selftest/SelfTest.h", "platform/Screens.h", "platform/x11/Connection.h", "platform/pipewire/Core.h", "ui/Panel.h",
    "tools/Bubble.h", "app/AppModel.h",
]

# (name of the rule, file, its include, is it allowed)
CASES = [
    ("geometryKnowsItself", "geometry/a.cpp", '"geometry/Rect.h"', True),
    ("geometryKnowsNoMedia", "geometry/a.cpp", '"media/PixelBuffer.h"', False),
    ("mediaKnowsGeometry", "media/a.h", '"geometry/Rect.h"', True),
    ("mediaKnowsNoPipeline", "media/a.h", '"pipeline/ScreenSource.h"', False),
    ("beautifyKnowsMedia", "beautify/a.cpp", '"media/PixelBuffer.h"', True),
    ("beautifyKnowsNoPipeline", "beautify/a.cpp", '"pipeline/ScreenSource.h"', False),
    ("pipelineKnowsBeautify", "pipeline/a.cpp", '"beautify/Library.h"', True),
    ("pipelineKnowsNoPlatform", "pipeline/a.cpp", '"platform/Screens.h"', False),
    ("pipelineKnowsNoApi", "pipeline/encode/a.cpp", '"platform/x11/Connection.h"', False),
    ("pipelineKnowsNoPanel", "pipeline/a.cpp", '"ui/Panel.h"', False),
    ("pipelineKnowsBitmaps", "pipeline/a.cpp", "<QImage>", True),
    ("pipelineKnowsNoWidgets", "pipeline/a.cpp", "<QWidget>", False),
    ("pipelineKnowsNoWidgetsModule", "pipeline/a.cpp", "<QtWidgets/QPushButton>", False),
    ("pipelineKnowsNoButtons", "pipeline/a.cpp", "<QPushButton>", False),
    ("pipelineKnowsNoXcb", "pipeline/a.cpp", "<xcb/xcb.h>", False),
    ("pipelineKnowsNoPipewire", "pipeline/a.cpp", "<pipewire/pipewire.h>", False),
    ("pipelineKnowsNoSpa", "pipeline/a.cpp", "<spa/param/video/format.h>", False),
    ("selftestKnowsPipeline", "selftest/a.cpp", '"pipeline/ScreenSource.h"', True),
    ("selftestKnowsNoPlatform", "selftest/a.cpp", '"platform/Screens.h"', False),
    ("anApiKnowsItself", "platform/x11/a.cpp", '"platform/x11/Connection.h"', True),
    ("anApiKnowsTheInterfaces", "platform/x11/a.cpp", '"platform/Screens.h"', True),
    ("anApiKnowsPipeline", "platform/x11/a.cpp", '"pipeline/ScreenSource.h"', True),
    ("anApiKnowsNoOtherApi", "platform/x11/a.cpp", '"platform/pipewire/Core.h"', False),
    ("anApiKnowsNoBeautify", "platform/x11/a.cpp", '"beautify/Library.h"', False),
    ("anApiKnowsItsNativeHeaders", "platform/x11/a.h", "<xcb/damage.h>", True),
    ("anApiKnowsNoWidgets", "platform/x11/a.cpp", "<QApplication>", False),
    ("platformKnowsPipeline", "platform/a.cpp", '"pipeline/ScreenSource.h"', True),
    ("platformKnowsNoNativeHeader", "platform/Screens.cpp", "<xcb/randr.h>", False),
    ("platformKnowsNoX11Header", "platform/Screens.cpp", "<X11/Xlib.h>", False),
    ("platformsChooserKnowsAnApi", "platform/Screens.cpp", '"platform/x11/Connection.h"', True),
    ("platformsOtherSourcesKnowNoApi", "platform/Desktop.cpp", '"platform/x11/Connection.h"', False),
    ("platformsHeadersKnowNoApi", "platform/Screens2.h", '"platform/x11/Connection.h"', False),
    ("uiKnowsWidgets", "ui/a.cpp", "<QWidget>", True),
    ("toolsKnowTheCamerasCircle", "tools/a.cpp", '"pipeline/CameraCircle.h"', True),
    ("uiKnowsThePipelinesValues", "ui/a.cpp", '"pipeline/ExportQuality.h"', True),
    ("uiKnowsNoWorkingPipeline", "ui/a.cpp", '"pipeline/ScreenSource.h"', False),
    ("uiKnowsNoApp", "ui/a.cpp", '"app/AppModel.h"', False),
    ("toolsKnowBeautify", "tools/a.cpp", '"beautify/Library.h"', True),
    ("toolsKnowNoWorkingPipeline", "tools/a.cpp", '"pipeline/ScreenSource.h"', False),
    ("toolsKnowThePlatformsInterfaces", "tools/a.cpp", '"platform/Screens.h"', True),
    ("appKnowsEverything", "app/a.cpp", '"platform/x11/Connection.h"', True),
    ("appKnowsNoNativeHeader", "app/a.cpp", "<xcb/xcb.h>", False),
    ("everythingKnowsTheStandardLibrary", "geometry/a.cpp", "<vector>", True),
    ("nothingIsNamedFromItsOwnFolder", "geometry/a.cpp", '"Rect.h"', False),
    ("noOwnHeaderInAngleBrackets", "media/a.cpp", "<geometry/Rect.h>", False),
    ("noFolderOutsideTheTable", "misc/a.cpp", '"geometry/Rect.h"', False),
    ("blanksDoNotHideAnInclude", "geometry/a.cpp", '"media/PixelBuffer.h" // as it must be', False),
]


def load_check():
    """The script as a module: a process for each case would take a minute on a busy machine."""
    sys.dont_write_bytecode = True
    loader = importlib.machinery.SourceFileLoader("check_includes", str(CHECK))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


def in_tree(files, use):
    """What `use` gives for a tree of these files."""
    with tempfile.TemporaryDirectory() as tree:
        for name, text in files.items():
            path = pathlib.Path(tree) / "src" / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        return use(tree)


def run_check(files):
    return in_tree(files, lambda tree: subprocess.run([sys.executable, CHECK, tree], capture_output=True, text=True,
                                                      check=False))


class CheckIncludes(unittest.TestCase):
    def test_table(self):
        check = load_check().check
        for name, file, target, allowed in CASES:
            with self.subTest(name):
                files = {header: "#pragma once\n" for header in HEADERS}
                files[file] = f"// first line\n#  include {target}\n"
                _, complaints = in_tree(files, check)
                self.assertEqual(len(complaints), 0 if allowed else 1, complaints)
                for line in complaints:
                    self.assertTrue(line.startswith(f"src/{file}:2: "), line)

    def test_aTreeInOrderPasses(self):
        result = run_check({header: "#pragma once\n" for header in HEADERS})
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_reportsEveryViolation(self):
        files = {header: "#pragma once\n" for header in HEADERS}
        files["geometry/a.cpp"] = '#include "media/PixelBuffer.h"\n#include <xcb/xcb.h>\n'
        result = run_check(files)
        self.assertIn("2 includes that are not allowed", result.stdout)
        self.assertEqual(result.returncode, 1)

    def test_anEmptyTreeIsNoSuccess(self):
        self.assertEqual(run_check({}).returncode, 2)


unittest.main()
