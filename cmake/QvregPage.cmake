# What pages of reports consist of beside the reports: scripts and styles of this tree, and Vega with
# its companions, which draw the plots. `./dev setup` keeps those in .deps/page. All of it becomes part of
# the command, by a source that this file generates: QVREG_PAGE_SOURCE.
set(QVREG_PAGE_DIR "${PROJECT_SOURCE_DIR}/.deps/page" CACHE PATH
  "Folder with vega.min.js, vega-lite.min.js, vega-embed.min.js and their licences")

set(qvreg_page_libraries vega vega-lite vega-embed)
set(qvreg_page_files)
foreach(library IN LISTS qvreg_page_libraries)
  foreach(file "${QVREG_PAGE_DIR}/${library}.min.js" "${QVREG_PAGE_DIR}/LICENSE.${library}")
    if(NOT EXISTS "${file}")
      message(FATAL_ERROR "The command embeds ${library}, and there is no ${file}: run ./dev setup, "
        "or tools/fetch page \"${QVREG_PAGE_DIR}\", and configure again; or configure with "
        "-DQVREG_BUILD_HOST=OFF to build the library alone.")
    endif()
    list(APPEND qvreg_page_files "${file}")
  endforeach()
endforeach()
list(APPEND qvreg_page_files
  "${PROJECT_SOURCE_DIR}/host/report/page/page.js"
  "${PROJECT_SOURCE_DIR}/host/report/page/page.css")

set(QVREG_PAGE_SOURCE "${PROJECT_BINARY_DIR}/generated/PageFiles.cpp")
configure_file("${PROJECT_SOURCE_DIR}/host/report/page/PageFiles.cpp.in" "${QVREG_PAGE_SOURCE}" @ONLY)
