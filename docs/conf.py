"""The documentation site. `./dev docs` makes what it needs first: Doxygen's XML and the pictures in build/docs, and the
Python package."""

import os
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent
made = root / "build" / "docs"
sys.path.insert(0, os.environ["KELVRA_CV_PYTHON"])

project = "kelvra_cv"
author = "the kelvra_cv developers"
copyright = "2026, " + author
release = re.search(r"VERSION ([\d.]+)", (root / "CMakeLists.txt").read_text().split("project(", 1)[1]).group(1)

extensions = ["breathe", "myst_parser", "sphinx.ext.autodoc"]
source_suffix = {".md": "markdown"}
exclude_patterns = ["benchmarks/*"]
nitpicky = False
breathe_projects = {"kelvra_cv": str(made / "doxygen" / "xml")}
breathe_default_project = "kelvra_cv"
breathe_domain_by_extension = {"h": "cpp"}
autodoc_typehints = "none"
autodoc_member_order = "bysource"
myst_enable_extensions = ["colon_fence", "deflist"]
myst_heading_anchors = 3
html_theme = "furo"
html_title = "kelvra_cv"
html_extra_path = [str(made / "pictures")]
html_static_path = ["static"]
html_css_files = ["site.css"]
templates_path = []
pygments_style = "friendly"
