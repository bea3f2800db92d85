#!/usr/bin/env python3
"""Proves the floors of docs/architecture.md from the include lines: a file includes only files of lower floors, or
of its own floor where no circle comes of it; and each product keeps to its dependencies."""
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# First match wins: (path prefix, floor).
FLOORS = [
    ("src/support/", 1),
    ("middleware/", 2),
    ("src/Export.h", 3),
    ("src/include/", 3),
    ("src/log/", 3),
    ("src/dataModel/", 3),
    ("src/monitoringClass/MonitoringClassImpl", 4),
    ("src/utils/", 5),
    ("src/taskExecutor/", 5),
    ("src/entities/EntitiesHelper", 5),
    ("src/entities/", 6),
    ("src/resource/ResourceLifecycle", 8),
    ("src/resource/ApplicationRegistry", 9),
    ("src/resource/ApplicationSelection", 9),
    ("src/resource/MetricSubscription", 8),
    ("src/resource/", 6),
    ("src/monitoringClass/EntityLock", 7),
    ("src/eventMetrics/", 7),
    ("src/periodicMetricCollector/", 7),
    ("src/logging/", 7),
    ("src/monitoringClass/ApplicationMetricGroups", 9),
    ("src/monitoringClass/LoggingConfiguration", 9),
    ("src/monitoringClass/ResourceOperations", 9),
    ("src/monitoringClass/MetricSelection", 9),
    ("src/monitoringClass/RootResource", 9),
    ("src/remoteAdministration/CommandHelper", 5),
    ("src/remoteAdministration/Operations", 5),
    ("src/remoteAdministration/", 10),
    ("src/monitoringClass/", 11),
    ("src/monitoringForwarder/", 11),
    ("reading/", 11),
    ("agent/", 12),
    ("tail/", 12),
    ("send/", 12),
    ("collector/", 12),
    ("ctl/", 12),
]
# Public headers are included by their installed names.
PUBLIC = [
    ("zddscore/", "src/support/include/"),
    ("zddsc/", "middleware/include/"),
    ("orxmonitoring2d/", "src/dataModel/"),
]
ENGINE_HEADERS = re.compile(r"^(dds|ddsi|ddsrt|ddsc|idl|idlc)/")
ENGINE_USERS = ("middleware/engine/cyclone/", "agent/")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def floor_of(path):
    for prefix, floor in FLOORS:
        if path.startswith(prefix):
            return floor
    return None


def sources():
    for top in ("src", "middleware", "agent", "tail", "send", "reading", "collector", "ctl"):
        for folder, _, names in os.walk(os.path.join(ROOT, top)):
            for name in sorted(names):
                if name.endswith((".c", ".h", ".cpp", ".hpp")):
                    yield os.path.relpath(os.path.join(folder, name), ROOT)


def resolve(path, text):
    for prefix, place in PUBLIC:
        if text.startswith(prefix):
            return place + text
    for candidate in (text, os.path.join(os.path.dirname(path), text)):
        if os.path.exists(os.path.join(ROOT, candidate)):
            return os.path.normpath(candidate)
    return None


def has_circle(graph):
    state = {}

    def visit(node, trail):
        state[node] = 1
        for after in sorted(graph.get(node, ())):
            if state.get(after) == 1:
                return trail + [node, after]
            if after not in state:
                found = visit(after, trail + [node])
                if found:
                    return found
        state[node] = 2
        return None

    for node in sorted(graph):
        if node not in state:
            found = visit(node, [])
            if found:
                return found
    return None


def main():
    problems = []
    graph = {}
    count = 0
    for path in sources():
        floor = floor_of(path)
        if floor is None:
            problems.append(f"{path}: stands on no floor; add it to tools/checks/floors.py and docs/architecture.md")
            continue
        with open(os.path.join(ROOT, path), encoding="utf-8") as file:
            for number, line in enumerate(file, 1):
                match = INCLUDE.match(line)
                if not match:
                    continue
                count += 1
                text = match.group(2)
                where = f"{path}:{number}"
                if ENGINE_HEADERS.match(text) and not path.startswith(ENGINE_USERS):
                    problems.append(f"{where}: includes the engine's {text}, which only {' and '.join(ENGINE_USERS)} may")
                if text.startswith("middleware/") and path.startswith("src/"):
                    problems.append(f"{where}: includes {text}; the library knows only the public headers of the middleware")
                target = resolve(path, text)
                if target is None:
                    continue
                below = floor_of(target)
                if below is None:
                    continue
                if below > floor:
                    problems.append(f"{where}: floor {floor} includes {text} of floor {below}")
                elif below == floor:
                    graph.setdefault(path, set()).add(target)
                    # A header and its source are one piece.
                    graph.setdefault(os.path.splitext(target)[0] + ".cpp", set())
    circle = has_circle(graph)
    if circle:
        problems.append("circle: " + " -> ".join(circle))
    for problem in problems:
        print(problem, file=sys.stderr)
    print(f"floors: {count} include lines, {len(problems)} problems")
    return 1 if problems else 0


sys.exit(main())
