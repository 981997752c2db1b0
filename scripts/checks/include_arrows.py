#!/usr/bin/env python3
"""Fails on an #include that runs against the arrows between the folders.

Tests and benchmarks may include anything, and nothing includes them.
"""

import re
from pathlib import PurePosixPath

import house
from house import Finding

PANEL_HEADER = r"ui/[^/]+/ZAV_\w+_Widget\.h"
PANEL_EXPORT = r"zav_import_export\.h"

# For the files that match the first pattern: what of ours they may include besides their own folder, and the rule
# in words. The first match counts.
ARROWS = (
    (r"services/.*", (), "services include nothing of ours but services"),
    (
        r"robot/.*\.cpp",
        (r"services/.*", PANEL_HEADER, PANEL_EXPORT),
        "robot includes services, and from a source that holds members of a panel that panel's header",
    ),
    (r"robot/.*", (r"services/.*", PANEL_EXPORT), "a header of robot includes services only"),
    (
        r"import/.*\.cpp",
        (r"services/.*", r"robot/.*", PANEL_HEADER, PANEL_EXPORT),
        "import includes services, robot, and from a source that holds members of a panel that panel's header",
    ),
    (r"import/.*", (r"services/.*", r"robot/.*", PANEL_EXPORT), "a header of import includes services and robot only"),
    (
        r"ui/import_from_file/.*\.cpp",
        (r"services/.*", r"import/.*", r"robot/.*", PANEL_EXPORT),
        "a source of the file import panel includes services, and import and robot for what it calls",
    ),
    (r"ui/import_from_file/.*", (r"services/.*", PANEL_EXPORT), "a header of the file import panel includes services only"),
    (
        r"ui/import_list/.*\.cpp",
        (r"services/.*", r"import/.*", r"robot/.*", r"ui/import_from_file/StyleSheets\.h", PANEL_EXPORT),
        "a source of the job list panel includes services, the style sheets, and import and robot for what it calls",
    ),
    (
        r"ui/import_list/.*",
        (r"services/.*", r"ui/import_from_file/StyleSheets\.h", PANEL_EXPORT),
        "a header of the job list panel includes services and the style sheets only",
    ),
    (
        r"ui/PanelTheme\.\w+",
        (r"ui/PanelTheme\.h", PANEL_EXPORT),
        "the panels' theme includes nothing of ours: the panels do not know it, and it does not know them",
    ),
    (r"terminal/.*", (), "terminal includes nothing of ours"),
    (r"backend/.*", (r"services/.*",), "backend includes services only"),
    (
        r"host/site/(.*\.cpp|SiteRows\.h)",
        (r"services/.*", r"backend/.*", r"ui/import_from_file/BatchDirectory\.h", r"robot_call/.*"),
        "the client's doors to its site include services, backend, the rules of a batch directory and what sends the robot requests again",
    ),
    (
        r"host/(core|odb|site)/.*",
        (r"services/.*", r"backend/HostInterface\.h", r"ui/import_from_file/BatchDirectory\.h", r"robot/\w+\.h"),
        "the client's core includes services, the backend's interface for hosts, the rules of a batch directory and robot's document definition",
    ),
    (
        r"host/RobotLedger\.cpp",
        (r"ui/.*", r"services/.*", r"backend/HostInterface\.h", r"robot/RobotRequest\.h"),
        "the client's record of requests includes ui, services, the backend's interface for hosts, and robot's document definition",
    ),
    (
        r"host/EmbeddedRobot\.cpp",
        (r"services/.*", r"robot_server/RobotServer\.h"),
        "the robot inside the client includes services and the robot's server",
    ),
    (
        r"host/.*",
        (r"ui/.*", r"services/.*", r"terminal/.*", r"backend/HostInterface\.h"),
        "host includes ui, services, terminal and the backend's interface for hosts; more of backend only from host/site",
    ),
    (
        r"admin/.*",
        (r"services/.*", r"backend/.*", r"terminal/.*", r"robot/RobotRequest\.h", r"robot_call/.*"),
        "admin includes services, backend, terminal, robot_call, and of robot the document's definition",
    ),
    # A robot that is asked again must be told what the site knows of the request, and the site what became of it.
    (
        r"robot_call/.*",
        (r"backend/.*", r"robot/RobotRequest\.h"),
        "robot_call includes backend, and of robot the document's definition",
    ),
    (
        r"robot_server/.*",
        (r"robot/\w+\.h", r"terminal/.*"),
        "robot_server includes nothing of ours but robot's document definition and terminal",
    ),
    (
        r"command_documents/.*",
        (r"\w+/CommandLine\.h", r"admin/Verbs\.h", r"backend/config/SettingRules\.h", r"terminal/.*"),
        "command_documents includes what the programs say of their command lines, the rules of the configuration and terminal",
    ),
    (r"samples/.*", (r"terminal/.*",), "samples include nothing of ours but terminal"),
)

# The rooms of the client that have no widgets.
CLIENT_CORE = re.compile(r"host/(core|odb|site)/")
# What the sources of the client's doors share, and would hand the backend on to others.
BEHIND_DOORS = "host/site/SiteRows.h"

# The floors of the backend, the highest first: a file includes its own floor's room and what lies on lower floors.
# A room is a folder with all below it; the files that lie in backend/ itself are named. What hosts see of the backend is
# declared on the lowest floor, since all speak of its events, and done on the highest.
BACKEND_FLOORS = (
    (r"backend/operations/", r"backend/migrate/", r"backend/check/", r"backend/HostInterface\.cpp"),
    (r"backend/Site\w*\.",),
    (r"backend/records/",),
    (r"backend/database/", r"backend/store/"),
    (r"backend/config/", r"backend/pack/"),
    (r"backend/io/",),
    (r"backend/[^/]+$",),
)

GENERATED = re.compile(r"\w+_export\.h")
MOC_OUTPUT = re.compile(r"(moc_\w+\.cpp|\w+\.moc)")


def folder_of(path):
    """The folder that counts as one's own: the top one, except that each panel in ui is its own."""
    parts = PurePosixPath(path).parts
    return "/".join(parts[:2] if parts[0] == "ui" else parts[:1]) + "/"


def resolve(root, source, name):
    """The included file as a path from root; None where it is not one of ours."""
    for candidate in (root / name, (root / source.path).parent / name):
        if candidate.is_file() and candidate.resolve().is_relative_to(root):
            return candidate.resolve().relative_to(root).as_posix()
    return name if GENERATED.fullmatch(name) else None


def floor_and_room(path):
    """The floor of a file of the backend, 0 for the highest, and its room; None for other files."""
    for floor, rooms in enumerate(BACKEND_FLOORS):
        for room in rooms:
            if re.match(room, path):
                return floor, room
    return None


def breaks_floors(path, target):
    """Whether an #include inside the backend goes up, or across into another room of the same floor."""
    source, included = floor_and_room(path), floor_and_room(target)
    if source is None or included is None or source == included:
        return False
    return included[0] <= source[0]


def broken_rule(root, source, name, quoted):
    """The rule that an #include breaks; None where it may stand."""
    path = source.path.as_posix()
    target = resolve(root, source, name)
    if target is None:
        return f'"{name}" is no file of ours' if quoted and not MOC_OUTPUT.fullmatch(name) else None
    if breaks_floors(path, target):
        return f"includes {target}: floors of the backend are left downwards only"
    if CLIENT_CORE.match(path) and target.startswith("host/") and not CLIENT_CORE.match(target):
        return f"includes {target}: the client's core knows nothing of its window"
    if target == BEHIND_DOORS and not re.fullmatch(r"host/site/.*\.cpp", path):
        return f"includes {target}: it is for the sources of the client's doors to its site alone"
    if target.startswith(folder_of(path)):
        return None
    allowed, rule = next(((a, r) for pattern, a, r in ARROWS if re.fullmatch(pattern, path)))
    if any(re.fullmatch(pattern, target) for pattern in allowed):
        return None
    return f"includes {target}: {rule}"


def check(root):
    for source in house.sources(root, house.PRODUCT_FOLDERS):
        for line, name, quoted in source.includes:
            rule = broken_rule(root, source, name, quoted)
            if rule:
                yield Finding(source.path, line, rule)


if __name__ == "__main__":
    house.main(__doc__, check)
