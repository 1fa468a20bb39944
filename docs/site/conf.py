# SPDX-License-Identifier: MIT
"""The settings of Sphinx for the site. The script build puts the sources of the site beside the XML of Doxygen."""

project = "librynvel"
extensions = ["myst_parser", "breathe"]
myst_enable_extensions = ["colon_fence"]
myst_heading_anchors = 4

breathe_projects = {project: "../xml"}
breathe_default_project = project
breathe_domain_by_file_pattern = {"*/rynvel.h": "c"}
breathe_show_include = False

highlight_language = "text"
html_theme = "furo"
html_title = project
html_static_path = ["_static"]
html_css_files = ["site.css"]
html_copy_source = False
html_show_copyright = False
html_show_sphinx = False
# A browser does not let a page of a folder read the text of other pages.
html_show_search_summary = False
