# SPDX-License-Identifier: GPL-3.0-or-later
"""write_metadata.py PYPROJECT FILE: what tools for packages read of an installed one, from what the wheel is made of."""
import sys
import tomllib
from pathlib import Path

project = tomllib.loads(Path(sys.argv[1]).read_text(encoding="utf-8"))["project"]
lines = ["Metadata-Version: 2.1", f"Name: {project['name']}", f"Version: {project['version']}",
         f"Summary: {project['description']}", f"License: {project['license']['text']}",
         f"Requires-Python: {project['requires-python']}"]
lines += [f"Requires-Dist: {needed}" for needed in project["dependencies"]]
for extra, needs in project["optional-dependencies"].items():
    lines += [f"Provides-Extra: {extra}"] + [f'Requires-Dist: {needed}; extra == "{extra}"' for needed in needs]
Path(sys.argv[2]).write_text("\n".join(lines) + "\n", encoding="utf-8")
