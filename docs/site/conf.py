# SPDX-License-Identifier: MIT
"""The settings of Sphinx for the site. The script docs/site/build puts the sources beside the XML of Doxygen."""

from sphinx.domains.c import CDomain
from sphinx.domains.cpp import CPPDomain

project = "librynvel"
extensions = ["myst_parser", "breathe"]
myst_enable_extensions = ["colon_fence"]
myst_heading_anchors = 4

breathe_projects = {project: "../xml"}
breathe_default_project = project
breathe_domain_by_file_pattern = {"rynvel.h": "c"}
breathe_show_include = False
breathe_show_enumvalue_initializer = True

highlight_language = "text"
html_theme = "furo"
html_title = project
html_static_path = ["_static"]
html_css_files = ["site.css"]
html_copy_source = False
html_show_copyright = False
html_show_sphinx = False
# A browser does not let a page that it opens from a local folder read other pages.
html_show_search_summary = False


def without_parameters(domain):
    """Returns a domain without parameters. Otherwise, the search would find a function once for each parameter."""
    class Domain(domain):
        def get_objects(self):
            return (entry for entry in super().get_objects() if not entry[2].endswith("Param"))
    return Domain


def setup(app):
    for domain in (CDomain, CPPDomain):
        app.add_domain(without_parameters(domain), override=True)
