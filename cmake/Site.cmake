# SPDX-License-Identifier: MIT
# Builds and installs the site: the documentation, the manual pages and the reference as HTML pages.

set(site_folder "${PROJECT_BINARY_DIR}/site")
# The site may contain any file of the project to which a page links. The target depends only on the files that change
# most often.
file(GLOB_RECURSE site_sources CONFIGURE_DEPENDS LIST_DIRECTORIES false
  "${PROJECT_SOURCE_DIR}/*.md" "${PROJECT_SOURCE_DIR}/docs/*" "${PROJECT_SOURCE_DIR}/include/*")
list(FILTER site_sources EXCLUDE REGEX "^${PROJECT_BINARY_DIR}/|^${PROJECT_SOURCE_DIR}/build/")
add_custom_command(OUTPUT "${site_folder}/index.html"
  COMMAND "${PROJECT_SOURCE_DIR}/docs/site/build" "${site_folder}"
  DEPENDS ${site_sources} COMMENT "Building the site" VERBATIM)
add_custom_target(rynvel_site ALL DEPENDS "${site_folder}/index.html")
rynvel_install(DIRECTORY "${site_folder}/" DESTINATION "${RYNVEL_DOCUMENTS}/html" COMPONENT Development)
