"""Proves the checks: each passes a good tree or listing and finds what is wrong in a bad one."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import desktop_files
import documents
import exported_symbols
import hardened_build
import house
import include_arrows
import manual_pages
import needed_libraries
import needed_operations
import no_bare_waits
import pinned_tests
import plain_boxes
import portable_panels
import sql_in_one_place

CHECKS_DIR = Path(__file__).resolve().parent


class TreeTest(unittest.TestCase):
    """A scratch tree of files given as {path: text}."""

    def tree(self, files):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        root = Path(folder.name).resolve()
        for path, text in files.items():
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            (root / path).write_text(text, encoding="utf-8")
        return root

    def places(self, check, files):
        return [f"{finding.path}:{finding.line}" for finding in check(self.tree(files))]

    def assert_bad(self, check, path, text, others=()):
        files = {**{other: "" for other in others}, path: "\n" + text}
        self.assertEqual(self.places(check, files), [f"{path}:2"], text)

    def assert_good(self, check, path, text, others=()):
        files = {**{other: "" for other in others}, path: "\n" + text}
        self.assertEqual(self.places(check, files), [], text)


class SourceTest(TreeTest):
    def source(self, text):
        return house.Source(root := self.tree({"import/A.cpp": text}), root / "import/A.cpp")

    def test_comments_and_literals_are_no_code(self):
        source = self.source("a(); // sleep(1)\n/* sleep(2)\n*/ b(\"sleep(3)\", R\"x(sleep(4))x\", '\"', 1'000'000); c();")
        self.assertNotIn("sleep", source.code)
        self.assertIn("1'000'000", source.code)
        self.assertEqual(source.line_of(source.code.index("c()")), 3)

    def test_adjacent_literals_are_one(self):
        texts = [literal.text for literal in self.source('a("SELECT a "\n  // why\n  "FROM b", "c");').literals]
        self.assertEqual(texts, ["SELECT a FROM b", "c"])


class IncludeArrowsTest(TreeTest):
    PANEL = "ui/import_from_file/ZAV_ImportFromFile_Widget.h"
    SHEETS = "ui/import_from_file/StyleSheets.h"
    AGAINST = (
        ("services/bll/B.h", "backend/Site.h"),
        ("services/bll/B.h", PANEL),
        ("robot/R.cpp", "import/Rules.h"),
        ("robot/R.cpp", SHEETS),
        ("robot/R.h", PANEL),
        ("import/I.h", PANEL),
        ("import/I.cpp", SHEETS),
        ("import/I.cpp", "backend/Site.h"),
        ("ui/import_from_file/P.h", "import/Rules.h"),
        ("ui/import_from_file/P.cpp", "ui/import_list/ZAV_Import_Widget.h"),
        ("ui/import_from_file/P.cpp", "backend/Site.h"),
        ("ui/import_list/L.cpp", PANEL),
        ("ui/import_list/L.h", "robot/Request.h"),
        ("ui/PanelTheme.cpp", PANEL),
        ("ui/import_list/L.cpp", "ui/PanelTheme.h"),
        ("backend/store/S.cpp", "import/Rules.h"),
        ("backend/store/local/S.cpp", "backend/database/Database.h"),
        ("backend/store/S.cpp", "backend/Site.h"),
        ("backend/config/C.h", "backend/records/R.h"),
        ("backend/io/F.h", "backend/pack/P.h"),
        ("backend/migrate/M.cpp", "backend/operations/O.h"),
        ("backend/Status.h", "backend/io/F.h"),
        ("backend/store/S.cpp", "terminal/TextTable.h"),
        ("terminal/TextTable.cpp", "backend/Status.h"),
        ("host/Window.cpp", "backend/Site.h"),
        ("host/main.cpp", "backend/Site.h"),
        ("backend/HostInterface.h", "backend/Site.h"),
        ("host/main.cpp", "import/Rules.h"),
        ("host/core/Report.cpp", PANEL),
        ("host/core/Report.cpp", "host/Window.h"),
        ("host/core/Report.cpp", "backend/Site.h"),
        ("host/site/SiteAccess.h", "backend/Site.h"),
        ("host/site/SiteAccess.h", "host/site/SiteRows.h"),
        ("host/core/Report.cpp", "host/site/SiteRows.h"),
        ("host/MainWindow.cpp", "host/site/SiteRows.h"),
        ("admin/Verb.cpp", "ui/import_from_file/StyleSheets.h"),
        ("robot_server/Server.cpp", "services/common/Common.h"),
        ("robot_call/Call.cpp", "host/site/SiteAccess.h"),
        ("backend/records/R.cpp", "robot_call/Call.h"),
        ("samples/Job.cpp", "import/Rules.h"),
        ("backend/store/S.cpp", "tests/support/Double.h"),
    )
    ALONG = (
        ("host/Theme.cpp", "ui/PanelTheme.h"),
        ("services/bll/B.h", "services/model/M.h"),
        ("robot/R.cpp", PANEL),
        ("import/I.cpp", PANEL),
        ("import/I.cpp", "robot/Request.h"),
        ("ui/import_from_file/P.cpp", "import/Rules.h"),
        ("ui/import_list/L.cpp", SHEETS),
        ("ui/import_list/L.cpp", "robot/Request.h"),
        ("backend/store/S.cpp", "services/common/Common.h"),
        ("backend/operations/O.cpp", "backend/records/R.h"),
        ("backend/records/R.cpp", "backend/database/Database.h"),
        ("backend/store/local/S.cpp", "backend/store/DocumentStore.h"),
        ("backend/store/S.cpp", "backend/io/F.h"),
        ("backend/io/F.h", "backend/Status.h"),
        ("host/Window.cpp", PANEL),
        ("host/BatchRun.cpp", "terminal/TextTable.h"),
        ("host/site/SiteAccess.cpp", "backend/Site.h"),
        ("host/site/SiteRows.h", "backend/Site.h"),
        ("host/site/SiteAccess.cpp", "host/site/SiteRows.h"),
        ("host/Window.h", "backend/HostInterface.h"),
        ("host/Window.h", "host/core/Report.h"),
        ("host/core/Report.cpp", "host/site/SiteAccess.h"),
        ("host/core/Report.cpp", "ui/import_from_file/BatchDirectory.h"),
        ("backend/HostInterface.cpp", "backend/Site.h"),
        ("backend/Status.h", "backend/HostInterface.h"),
        ("admin/Verb.cpp", "backend/Site.h"),
        ("admin/Verb.cpp", "robot_call/Call.h"),
        ("host/site/Requests.cpp", "robot_call/Call.h"),
        ("robot_call/Call.cpp", "backend/Site.h"),
        ("robot_server/Server.cpp", "robot/Request.h"),
        ("robot_server/Log.cpp", "terminal/TextTable.h"),
        ("tests/unit/TestSite.cpp", "backend/Site.h"),
        ("bench/Packing.cpp", "backend/Site.h"),
    )

    def test_against_the_arrows(self):
        for path, target in self.AGAINST:
            self.assert_bad(include_arrows.check, path, f'#include "{target}"', [target])
            self.assert_bad(include_arrows.check, path, f"#include <{target}>", [target])

    def test_along_the_arrows(self):
        for path, target in self.ALONG:
            self.assert_good(include_arrows.check, path, f'#include "{target}"', [target])

    def test_relative_path_is_no_way_round(self):
        self.assert_bad(include_arrows.check, "import/I.cpp", '#include "../backend/Site.h"', ["backend/Site.h"])

    def test_export_headers_have_owners(self):
        self.assert_good(include_arrows.check, "import/I.h", '#include "zav_import_export.h"')
        self.assert_bad(include_arrows.check, "backend/Site.h", '#include "zav_import_export.h"')

    def test_quotes_are_for_files_of_ours(self):
        self.assert_bad(include_arrows.check, "import/I.cpp", '#include "zlib.h"')
        self.assert_good(include_arrows.check, "import/I.cpp", '#include <QString>\n#include "I.moc"')

    def test_commented_out_include_is_none(self):
        self.assert_good(include_arrows.check, "import/I.cpp", '// #include "backend/Site.h"', ["backend/Site.h"])


class NoBareWaitsTest(TreeTest):
    def test_waits_for_time(self):
        for wait in ("QThread::msleep(5)", "std::this_thread::sleep_for(1s)", "::usleep(10)", "sleep(1)", "Sleep(1)"):
            self.assert_bad(no_bare_waits.check, "tests/unit/T.cpp", f"{wait};")
            self.assert_bad(no_bare_waits.check, "backend/T.cpp", f"{wait};")
        for wait in ("QTest::qSleep(5)", "QTest::qWait(5)"):
            self.assert_bad(no_bare_waits.check, "tests/unit/T.cpp", f"{wait};")

    def test_waits_for_conditions(self):
        for wait in ("QTest::qWaitFor([] { return done; })", "QTRY_VERIFY(done)", "clock.sleep(1)", "oversleep(1)"):
            self.assert_good(no_bare_waits.check, "tests/unit/T.cpp", f"{wait};")
        self.assert_good(no_bare_waits.check, "tests/unit/T.cpp", '// no sleep(1)\nf("sleep(1)");')


class SqlInOnePlaceTest(TreeTest):
    STATEMENTS = (
        "SELECT a FROM b",
        "select * from b",
        "INSERT INTO b VALUES (?)",
        "insert or ignore into b values (?)",
        "UPDATE b SET a = ?",
        "DELETE FROM b",
        "CREATE UNIQUE INDEX i ON b (a)",
        "PRAGMA user_version",
        "BEGIN IMMEDIATE",
        "COMMIT",
        "ROLLBACK TO here;",
        "VACUUM INTO ?",
        "WITH c AS (SELECT 1)",
    )

    def test_statements_belong_home(self):
        for statement in self.STATEMENTS:
            self.assert_bad(sql_in_one_place.check, "admin/Verb.cpp", f'run("{statement}");')
            self.assert_bad(sql_in_one_place.check, "backend/store/Store.cpp", f'run("{statement}");')
            self.assert_good(sql_in_one_place.check, "backend/database/Rows.cpp", f'run("{statement}");')
            self.assert_good(sql_in_one_place.check, "backend/records/Rows.cpp", f'run("{statement}");')
            self.assert_good(sql_in_one_place.check, "tests/unit/T.cpp", f'run("{statement}");')

    def test_messages_are_no_statements(self):
        for message in (
            "Select a job from the list",
            "cannot delete from the store",
            "Update failed",
            "Delete from the list",
            "BEGIN CERTIFICATE",
            "COMMITTED",
        ):
            self.assert_good(sql_in_one_place.check, "admin/Verb.cpp", f'say("{message}");')

    def test_values_are_bound(self):
        for spliced in (
            'QStringLiteral("SELECT a FROM b WHERE c = ") + name',
            'QString("UPDATE b SET a = %1").arg(name)',
            '"DELETE FROM b WHERE c = "\n    "1" + QString::number(key)',
            'std::string("INSERT INTO b VALUES (") + text',
        ):
            self.assert_bad(sql_in_one_place.check, "backend/database/Rows.cpp", f"f({spliced});")
        self.assert_good(sql_in_one_place.check, "backend/database/Rows.cpp", 'f("SELECT a FROM b WHERE c = ?", {x + y});')


class PortablePanelsTest(TreeTest):
    def test_platform_headers(self):
        for header in ("unistd.h", "sys/stat.h", "fcntl.h", "dirent.h", "windows.h"):
            self.assert_bad(portable_panels.check, "import/I.cpp", f"#include <{header}>")
            self.assert_bad(portable_panels.check, "backend/store/S.cpp", f"#include <{header}>")
            self.assert_good(portable_panels.check, "backend/io/File.cpp", f"#include <{header}>")

    def test_portable_headers(self):
        for header in ("QFile", "cstdio", "zip.h", "memory", "openssl/evp.h"):
            self.assert_good(portable_panels.check, "backend/store/S.cpp", f"#include <{header}>")


class PinnedTestsTest(TreeTest):
    ENTRIES = ("store_names", "store_full_disk", "contract_sqlite_local")
    TEST = {"tests/unit/storeNames.cpp": "void StoreNamesTest::longNames()\n{\n}\n"}

    def missing(self, page):
        root = self.tree({"docs/page.md": page, **self.TEST})
        return [f"{finding.line}: {finding.rule}" for finding in pinned_tests.check(root, self.ENTRIES)]

    def test_names_that_are_there(self):
        for page in (
            "Pinned by `store_names`: `longNames`, and `contract_*`.",
            "Kept. (Pinned by `store_names`\nand `store_full_disk`.) See `other_names`.",
            "Pinned by `store_names`, which is all.\n\n`other_names`",
            "Nothing here: `other_names`.",
        ):
            self.assertEqual(self.missing(page), [], page)

    def test_names_that_are_not(self):
        self.assertEqual(self.missing("\n(Pinned by `storeNames`.)"), ["2: no test is named 'storeNames'"])
        self.assertEqual(self.missing("It is pinned by `store_names`,\n`gridfs_*`"), ["2: no test is named 'gridfs_*'"])
        self.assertEqual(self.missing("Pinned by `shortNames`"), ["1: no test is named 'shortNames'"])


class NeededLibrariesTest(unittest.TestCase):
    LINE = " 0x0000000000000001 (NEEDED)             Shared library: [{}]\n"

    def section(self, *names):
        return "".join(self.LINE.format(name) for name in names)

    def test_graphical_libraries(self):
        section = self.section("libQt5Core.so.5", "libQt5Widgets.so.5", "libQt5Gui.so.5", "libc.so.6")
        self.assertEqual(needed_libraries.unwanted(section, "graphical"), ["libQt5Widgets.so.5", "libQt5Gui.so.5"])
        self.assertEqual(needed_libraries.unwanted(self.section("libQt5Sql.so.5"), "graphical"), [])

    def test_shared_backend(self):
        section = self.section("libzav_import.so.0", "libkozav_backend.so.0", "libQt5Gui.so.5")
        self.assertEqual(needed_libraries.unwanted(section, "shared-backend"), ["libkozav_backend.so.0"])
        self.assertEqual(needed_libraries.unwanted(self.section("libzav_import.so.0"), "shared-backend"), [])

    def test_file_without_dependencies_is_a_mistake(self):
        with self.assertRaises(ValueError):
            needed_libraries.unwanted("There is no dynamic section in this file.", "graphical")


class PlainBoxesTest(TreeTest):
    PLAIN = "QMessageBox box(text);\nbox.setTextFormat(Qt::PlainText);"

    def test_plain_boxes(self):
        self.assert_good(plain_boxes.check, "host/A.cpp", self.PLAIN)
        self.assert_good(plain_boxes.check, "host/A.cpp", "auto* b = new QMessageBox(t);\nb->setTextFormat(Qt::PlainText);")
        self.assert_good(plain_boxes.check, "ui/A.cpp", "QMessageBox::information(this, a, b);")

    def test_others(self):
        for text in (
            "QMessageBox box(text);",
            "auto* box = new QMessageBox(text);",
            "QMessageBox::warning(this, a, b);",
            self.PLAIN.replace("PlainText", "AutoText"),
        ):
            self.assert_bad(plain_boxes.check, "host/A.cpp", text)


class HardenedBuildTest(unittest.TestCase):
    GOOD = """\
ELF Header:
  Type:                              DYN (Position-Independent Executable file)
  GNU_STACK      0x000000 0x0000000000000000 0x0000000000000000 0x000000 0x000000 RW  0x10
  GNU_RELRO      0x1e10a0 0x00000000001e10a0 0x00000000001e10a0 0x002f60 0x002f60 R   0x1
 0x000000000000001e (FLAGS)              BIND_NOW
    12: 0000000000000000     0 FUNC    GLOBAL DEFAULT  UND __stack_chk_fail@GLIBC_2.4 (3)
"""

    def test_whole_file(self):
        self.assertEqual(hardened_build.missing_in_file(self.GOOD), [])

    def test_each_protection_is_looked_for(self):
        for line in self.GOOD.splitlines()[1:]:
            lacks = hardened_build.missing_in_file(self.GOOD.replace(line + "\n", ""))
            self.assertEqual(len(lacks), 1, line)

    def test_wrong_kinds(self):
        for good, bad in (("DYN", "EXEC"), (" RW ", " RWE"), ("BIND_NOW", "SYMBOLIC")):
            self.assertEqual(len(hardened_build.missing_in_file(self.GOOD.replace(good, bad))), 1, bad)

    def test_commands(self):
        def lacks(flags, file="/tree/a.cpp"):
            entry = {"directory": "/tree/build", "file": file, "command": f"c++ {flags} -c {file}"}
            return [lack for _, lack in hardened_build.missing_in_commands([entry], Path("/tree"))]

        self.assertEqual(lacks("-D_FORTIFY_SOURCE=2 -fstack-protector-strong"), [])
        self.assertEqual(len(lacks("-D_FORTIFY_SOURCE=0 -fstack-protector-strong")), 1)
        self.assertEqual(len(lacks("-O2")), 2)
        self.assertEqual(lacks("-O2", "/tree/build/moc.cpp"), [])

    def test_other_file_is_a_mistake(self):
        with self.assertRaises(ValueError):
            hardened_build.missing_in_file("")


class ExportedSymbolsTest(unittest.TestCase):
    GOOD = """\
0000000000010360 T KOZAV::UI::batchCompanies(QString const&)
000000000001a520 V vtable for KOZAV::UI::Panel
0000000000013140 T non-virtual thunk to KOZAV::UI::Panel::~Panel()
0000000000013141 W std::map<int, KOZAV::Robot::Request> KOZAV::UI::Panel::all<int>(KOZAV::Robot::Request)
000000000000dcd0 W std::_Rb_tree<std::pair<int, KOZAV::Robot::Request> >::_M_insert(int)
000000000000dcd4 W void std::vector<KOZAV::Robot::Request>::_M_realloc_insert<int>(int)
0000000000013142 T KOZAV::UI::Panel::operator<(KOZAV::UI::Panel const&) const
0000000000096828 V typeinfo for bool (QString const&)
00000000000968d8 V typeinfo name for bool (*)(QString const&)
000000000001b010 B __bss_start
"""

    def names(self, listing, denied=()):
        return list(exported_symbols.unexpected(listing, ["KOZAV::UI::"], denied))

    def test_own_names_pass(self):
        self.assertEqual(self.names(self.GOOD), [])

    def test_other_names_are_found(self):
        for line, name in (
            ("1 T KOZAV::Robot::robotRequest(QString const&, bool)", "KOZAV::Robot::robotRequest"),
            ("1 W KOZAV::Robot::each<std::string>(std::string)", "KOZAV::Robot::each"),
            ("1 V typeinfo for KOZAV::Robot::Request", "KOZAV::Robot::Request"),
            ("1 T qInitResources_icons()", "qInitResources_icons"),
            ("1 T std::strong()", "std::strong"),
        ):
            self.assertEqual(self.names(self.GOOD + line), [name])

    def test_denied_names_are_found(self):
        self.assertEqual(self.names("1 T KOZAV::UI::State::get()", ["KOZAV::UI::State"]), ["KOZAV::UI::State::get"])

    def test_exact_list(self):
        listed = {"KOZAV::UI::batchCompanies(QString const&)", "vtable for KOZAV::UI::Panel"}
        listing = "".join(f"{number:016x} T {symbol}\n" for number, symbol in enumerate(sorted(listed)))
        incidental = "1 W std::vector<int>::clear()\n2 V typeinfo name for bool (*)(QString const&)\n3 B _edata\n"
        self.assertEqual(exported_symbols.differences(listing + incidental, listed), [])
        self.assertEqual(exported_symbols.differences(listing + "1 T inner()\n", listed), ["+inner()"])
        self.assertEqual(exported_symbols.differences(listing, listed | {"gone()"}), ["-gone()"])
        other = listing.replace("QString const&", "int")
        self.assertEqual(
            exported_symbols.differences(other, listed),
            ["+KOZAV::UI::batchCompanies(int)", "-KOZAV::UI::batchCompanies(QString const&)"],
        )


class DesktopFilesTest(TreeTest):
    NOTES = "# A\n\n## Findings of AppStream\n\n| finding | why |\n|---|---|\n| `listed-tag` | so |\n\n## B\n\n| `other` | no |\n"
    ENTRY = "[Desktop Entry]\nType=Application\nName=A\nName[zh_CN]=甲\nExec=a_b %F\nIcon=a_b\n"

    def test_the_list_is_exact(self):
        report = "a.metainfo.xml\n  E: a.desktop:~: listed-tag\n"
        self.assertEqual(desktop_files.unexpected(report, self.NOTES), [])
        more = report + "  P: a.desktop:3: new-tag what it is about\n"
        self.assertEqual(desktop_files.unexpected(more, self.NOTES), ["AppStream finds new-tag, which is not listed"])
        gone = ["listed-tag is listed, and AppStream does not find it"]
        self.assertEqual(desktop_files.unexpected("✔ Validation was successful.\n", self.NOTES), gone)
        with self.assertRaises(ValueError):
            desktop_files.unexpected(report, "# Packaging\n")

    def test_missing_parts_are_found(self):
        root = self.tree({"share/icons/hicolor/scalable/apps/a_b.svg": "", "bin/a_b": ""})
        chinese = "".join(f"{key}[zh_CN]=甲\n" for key in ("GenericName", "Comment", "Keywords"))
        entry = desktop_files.entry_of(self.ENTRY + chinese)
        self.assertEqual(list(desktop_files.missing_parts(root, entry)), [f"there is no program {root}/bin/a_b"])
        (root / "bin/a_b").chmod(0o755)
        self.assertEqual(list(desktop_files.missing_parts(root, entry)), [])
        (root / "share/icons/hicolor/scalable/apps/a_b.svg").unlink()
        entry.pop("Comment[zh_CN]")
        self.assertEqual(len(list(desktop_files.missing_parts(root, entry))), 2)

    @unittest.skipUnless(all(map(shutil.which, desktop_files.TOOLS)), "validators are missing")
    def test_validators_are_asked(self):
        files = {
            "usr/share/applications/a_b.desktop": self.ENTRY + "Categories=Nonsense;\n",
            "usr/share/metainfo/a_b.metainfo.xml": '<component type="desktop-application"><id>a_b.desktop</id>\n',
            "usr/share/icons/hicolor/scalable/apps/a_b.svg": "<svg>\n",
        }
        said = "\n".join(desktop_files.faults(self.tree(files), self.NOTES))
        for fault in ("Nonsense", "metainfo.xml:2: parser error", "svg:2: parser error", "finds xml-markup-invalid"):
            self.assertIn(fault, said)
        self.assertEqual(list(desktop_files.faults(self.tree({}), self.NOTES))[0], "no desktop entry is installed")


class NeededOperationsTest(unittest.TestCase):
    LISTING = (
        "                 U KOZAV::Common::getGUID[abi:cxx11]()\n"
        "                 U KOZAV::DataLib::BLL::Odbpp_CompanyBll::~Odbpp_CompanyBll()\n"
        "                 U KOZAV::DBS_API::upload(std::map<int, std::string> const&)\n"
        "                 w __cxa_finalize\n"
        "                 U QWidget::close()\n"
    )
    LISTED = {
        "KOZAV::Common::getGUID[abi:cxx11]()",
        "KOZAV::DataLib::BLL::Odbpp_CompanyBll::~Odbpp_CompanyBll()",
        "KOZAV::DBS_API::upload(std::map<int, std::string> const&)",
    }
    PAGE = "| `Common::getGUID` | x |\n| `Odbpp_CompanyBll::~Odbpp_CompanyBll` | |\n| `DBS_API::upload` | x |\n"

    def differences(self, listing=LISTING, listed=frozenset(LISTED), page=PAGE):
        return list(needed_operations.differences(listing, set(listed), page))

    def test_what_is_listed_and_described_passes(self):
        self.assertEqual(self.differences(), [])
        self.assertEqual(self.differences(page=self.PAGE + "Text with `Common::other` | and |\n"), [])

    def test_each_difference_is_found(self):
        more = self.LISTING + "  U KOZAV::Common::more()\n"
        self.assertEqual(len(self.differences(listing=more)), 2)
        self.assertEqual(len(self.differences(listed=self.LISTED | {"KOZAV::Common::gone()"})), 1)
        self.assertEqual(len(self.differences(page=self.PAGE + "| `Common::gone` | x |\n")), 1)
        self.assertEqual(len(self.differences(page=self.PAGE + "| `Common::getGUID` | x |\n")), 1)
        self.assertEqual(len(self.differences(page="")), 3)


class DocumentsTest(TreeTest):
    PRESETS = '{"configurePresets": [{"name": "dev"}], "buildPresets": [{"name": "dev"}], "testPresets": [{"name": "quick"}]}'
    ADMIN = (
        "#!/bin/sh\n"
        'case "$*" in\n'
        '--help) printf "  --config FILE\\n  --json\\n  get JOB FILE\\n  company add\\n";;\n'
        '"get --help") echo "  --force";;\n'
        '"company add --help") echo "  --code CODE";;\n'
        "*) exit 2;;\nesac\n"
    )

    class World:
        """Takes each command for done, but for those that are to end otherwise."""

        def __init__(self, codes=()):
            self.ran = []
            self._codes = dict(codes)

        def run(self, command):
            self.ran.append(command)
            return self._codes.get(command, 0), "why"

    def findings(self, files, world=None, helps=None):
        root = self.tree({"CMakePresets.json": self.PRESETS, **files})
        return [f"{finding.path}:{finding.line}: {finding.rule}" for finding in documents.check(root, helps, world)]

    def helps(self):
        programs = self.tree({"zav_admin": self.ADMIN})
        (programs / "zav_admin").chmod(0o755)
        return documents.Helps(programs)

    def test_good_links_pass(self):
        page = "# A b: `c` 批量!\n[x](b.md) [y](b.md#two-words) [z](#a-b-c-批量) [web](https://x.y/z) ![p](p.png) `[no](link)`\n"
        files = {"docs/a.md": page, "docs/b.md": "## Two words\n", "docs/p.png": "", "docs/manual/c.md": "[a](../a.md)\n"}
        self.assertEqual(self.findings(files), [])

    def test_links_that_lead_nowhere_are_found(self):
        said = self.findings({"docs/a.md": "[x](none.md)\n\n[y](b.md#three) ![p](none.png)\n", "docs/b.md": "## Two\n"})
        self.assertEqual([line.split(": ")[0] for line in said], ["docs/a.md:1", "docs/a.md:3", "docs/a.md:3"])
        self.assertIn("no heading", said[1])

    def test_scripts_and_presets(self):
        good = "`scripts/run.sh` and\n\n    cmake --preset dev && cmake --build --preset dev && ctest --preset quick\n"
        self.assertEqual(self.findings({"README.md": good, "scripts/run.sh": ""}), [])
        bad = "`scripts/gone.sh`\n\n    cmake --preset fast\n    cmake --build --preset quick\n    ctest --preset dev\n"
        self.assertEqual(len(self.findings({"README.md": bad})), 4)

    def test_commands_of_blocks_are_found(self):
        text = (
            "Text zav_admin none\n\n    build/dev/bin/zav_admin get A b \\\n        --force   # why\n\n- a\n  ```\n  $ zav_admin jobs\n"
            "  zav_admin: a message\n  ```\n```\n0 4 * * 0  /usr/bin/zav_admin check\nExecStart=/usr/bin/zav_admin ping\n"
            "sudo -u plant zav_admin status\nnot zav_admin\n```\n"
        )
        self.assertEqual(
            list(documents.Page(text).commands()),
            [(4, "zav_admin get A b --force"), (8, "zav_admin jobs"), (12, "zav_admin check"), (13, "zav_admin ping"),
             (14, "zav_admin status")],
        )  # fmt: skip

    def test_each_command_is_run_once(self):
        world = self.World()
        page = "```\nzav_admin get a b --force\n```\n"
        self.assertEqual(self.findings({"docs/a.md": page, "docs/b.md": page}, world, self.helps()), [])
        self.assertEqual(world.ran, ["zav_admin get a b --force"])

    def test_a_command_that_fails_is_told_of_each_page(self):
        page = "\n```\nzav_admin get a b\n```\n"
        said = self.findings({"docs/a.md": page, "docs/b.md": page}, self.World({"zav_admin get a b": 3}), self.helps())
        self.assertEqual(said, [f"docs/{name}.md:3: 'zav_admin get a b': ended with 3, not 0: why" for name in "ab"])

    def test_expected_failures_must_fail(self):
        add = "zav_admin company add --code x"
        page = f"```\n{add}\n```\n"
        self.assertEqual(self.findings({"docs/a.md": page}, self.World({add: 4}), self.helps()), [])
        self.assertEqual(len(self.findings({"docs/a.md": page}, self.World(), self.helps())), 1)

    def test_commands_are_compared_with_the_help(self):
        for bad in ("zav_admin gte a b", "zav_admin get a b --froce", "zav_admin get a b --code x", "zav_admin get [--froce]"):
            for page in (f"```\n{bad}\n```\n", f"Text `{bad}`.\n"):
                self.assertEqual(len(self.findings({"docs/a.md": page}, self.World(), self.helps())), 1, page)
        world = self.World()
        page = "`zav_admin get JOB FILE [--force]`, `zav_admin company\nadd --code x`\n\n    zav_admin get JOB FILE [--force]\n"
        self.assertEqual(self.findings({"docs/a.md": page}, world, self.helps()), [])
        self.assertEqual(world.ran, [])

    def test_what_is_not_run_is_said(self):
        for command in ("zav_client --robot", "zav_robot --port 0", "zav_admin init --database-host h", "zav_admin jobs [--json]",
                        "zav_admin status | no-such-tool-here x"):  # fmt: skip
            self.assertTrue(documents.comparison_only(command), command)
        for command in ("zav_client --batch DIR --json", "zav_admin status --json | sort", "zav_admin get HX000001 job.zip"):
            self.assertEqual(documents.comparison_only(command), "", command)


class ProgramTest(TreeTest):
    """The checks as ctest runs them."""

    def run_check(self, name, root):
        command = [sys.executable, str(CHECKS_DIR / f"{name}.py"), str(root)]
        return subprocess.run(command, capture_output=True, text=True, env={**os.environ, "LC_ALL": "C"}, check=False)

    def test_exit_code_and_report(self):
        root = self.tree({"import/I.cpp": '#include "backend/Site.h"\n', "backend/Site.h": "// 批量\n"})
        result = self.run_check("include_arrows", root)
        self.assertEqual(result.returncode, 1)
        self.assertTrue(result.stdout.startswith("import/I.cpp:1: includes backend/Site.h: import includes services"))
        (root / "import/I.cpp").write_text("")
        self.assertEqual(self.run_check("include_arrows", root).returncode, 0)

    def test_wrong_root_is_an_error(self):
        self.assertEqual(self.run_check("no_bare_waits", self.tree({"a/b.cpp": ""})).returncode, 2)


class ManualPagesTest(TreeTest):
    """A manual of one page in two languages with one picture, and what is made wrong of it."""

    def findings(self, **changed):
        files = {
            "docs/manual/zh/a.md": "# 一\n\n## 二\n\n```\n# code\n```\n\n![图](../pictures/zh/one.png)\n",
            "docs/manual/en/a.md": "# One\n\n## Two\n\n![picture](../pictures/en/one.png)\n",
            "docs/manual/pictures/zh/one.png": "",
            "docs/manual/pictures/en/one.png": "",
            "tests/desktop/desktop_manual.cpp": 'road.picture(QStringLiteral("one"));\n',
        }
        files.update(changed.get("files", {}))
        for path in changed.get("without", ()):
            del files[path]
        return [str(finding) for finding in manual_pages.check(self.tree(files))]

    def test_whole_manual(self):
        self.assertEqual(self.findings(), [])

    def test_page_in_one_language(self):
        found = self.findings(files={"docs/manual/en/b.md": "# B\n"})
        self.assertEqual(found, ["docs/manual/zh/b.md:1: the page is missing in this language"])

    def test_headings_differ(self):
        found = self.findings(files={"docs/manual/en/a.md": "# One\n\n### Two\n\n![p](../pictures/en/one.png)\n"})
        self.assertEqual(len(found), 1)
        self.assertIn("zh [1, 2], en [1, 3]", found[0])

    def test_picture_missing(self):
        found = self.findings(without=["docs/manual/pictures/en/one.png"], files={"docs/manual/pictures/en/two.png": ""})
        self.assertEqual(found, ["docs/manual/en/a.md:5: ../pictures/en/one.png is not there",
                                 "docs/manual/pictures/en/two.png:1: no page shows it"])

    def test_picture_that_no_test_takes(self):
        found = self.findings(files={"tests/desktop/desktop_manual.cpp": ""})
        self.assertEqual(len(found), 2)
        self.assertIn("is not taken by tests/desktop/desktop_manual.cpp", found[0])

    def test_picture_of_the_other_language(self):
        found = self.findings(files={"docs/manual/en/a.md": "# One\n\n## Two\n\n![p](../pictures/zh/one.png)\n"})
        self.assertEqual(found[0], "docs/manual/en/a.md:5: ../pictures/zh/one.png is no picture of this language")


if __name__ == "__main__":
    unittest.main()
