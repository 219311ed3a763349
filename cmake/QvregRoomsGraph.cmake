# The diagram of the rooms, from the table of QvregFloors.cmake and the includes that it reads.
include_guard()
include("${CMAKE_CURRENT_LIST_DIR}/QvregFloors.cmake")

# qvreg_drawn_edges(EDGES RESULT): the edges "a>b" without those whose a reaches b through others
# too, such as every one of a circle.
function(qvreg_drawn_edges edges result)
  set(implied)
  set(ways ${edges})
  # Every round makes the ways longer by one edge.
  while(ways)
    set(longer)
    foreach(way IN LISTS ways)
      string(REGEX REPLACE ">.*" "" first "${way}")
      string(REGEX REPLACE ".*>" "" last "${way}")
      foreach(edge IN LISTS edges)
        if(edge MATCHES "^([^>]+)>(.+)$" AND CMAKE_MATCH_1 STREQUAL last)
          list(APPEND longer "${first}>${CMAKE_MATCH_2}")
        endif()
      endforeach()
    endforeach()
    list(REMOVE_DUPLICATES longer)
    # What is known already leads nowhere new, and in a circle for ever.
    list(REMOVE_ITEM longer ${implied})
    list(APPEND implied ${longer})
    set(ways ${longer})
  endwhile()
  list(REMOVE_ITEM edges ${implied})
  set(${result} "${edges}" PARENT_SCOPE)
endfunction()

# qvreg_rooms_on_floor(HOUSE FLOOR RESULT): the rooms of one floor, in the table's order.
function(qvreg_rooms_on_floor house floor result)
  set(found)
  foreach(room IN LISTS qvreg_rooms)
    if(qvreg_${room}_house STREQUAL house AND qvreg_${room}_floor EQUAL floor)
      list(APPEND found ${room})
    endif()
  endforeach()
  set(${result} "${found}" PARENT_SCOPE)
endfunction()

# qvreg_append_house(HOUSE TITLE BORDER FILL DRAWN TEXT): adds a house to the text, its rooms floor
# by floor. Where none of the arrows DRAWN keeps a floor above the one below, a hidden one does.
function(qvreg_append_house house title border fill drawn text_result)
  set(text "${${text_result}}")
  string(APPEND text "  subgraph cluster_${house} {\n"
    "    label=<<b>${title}</b>>\n    color=\"${border}\"\n    fillcolor=\"${fill}\"\n"
    "    margin=16\n")
  set(below)
  foreach(floor RANGE 9)
    qvreg_rooms_on_floor(${house} ${floor} rooms)
    if(NOT rooms)
      continue()
    endif()
    string(APPEND text "    {\n      rank=same\n")
    foreach(room IN LISTS rooms)
      string(APPEND text "      \"${room}\" [label=<<b>${room}</b><br/>"
        "<font point-size=\"10\">${qvreg_${room}_words}</font>>]\n")
    endforeach()
    string(APPEND text "    }\n")
    list(GET rooms 0 room)
    if(below AND NOT "${room}>${below}" IN_LIST drawn)
      string(APPEND text "    \"${room}\" -> \"${below}\" [style=invis weight=0]\n")
    endif()
    set(below "${room}")
  endforeach()
  string(APPEND text "  }\n")
  set(${text_result} "${text}" PARENT_SCOPE)
endfunction()

# qvreg_rooms_graph(EDGES RESULT): the text that Graphviz draws, always the same for the same edges.
# An arrow that others imply is left out.
function(qvreg_rooms_graph edges result)
  set(text "digraph rooms {\n")
  string(APPEND text
    "  graph [bgcolor=white fontname=Helvetica fontsize=14 nodesep=0.4 ranksep=0.35\n"
    "         style=\"filled,rounded\"]\n"
    "  node [shape=box style=\"filled,rounded\" fillcolor=white color=\"#7a8794\" penwidth=1.2\n"
    "        fontname=Helvetica fontsize=13 margin=\"0.18,0.08\"]\n"
    "  edge [color=\"#5b6773\" arrowsize=0.7]\n")
  qvreg_drawn_edges("${edges}" drawn)
  qvreg_append_house(host "host/, the command" "#c7a76c" "#fbf5e9" "${drawn}" text)
  qvreg_append_house(library "qvreg/, the library" "#7fa3c7" "#edf4fb" "${drawn}" text)
  foreach(edge IN LISTS drawn)
    string(REGEX REPLACE "^(.*)>(.*)$" "  \"\\1\" -> \"\\2\"\n" line "${edge}")
    string(APPEND text "${line}")
  endforeach()
  string(APPEND text "}\n")
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

# qvreg_graph_mark(TEXT RESULT): the line that a drawing of the text ends with, so that one made
# from an older text is found out.
function(qvreg_graph_mark text result)
  string(SHA256 digest "${text}")
  set(${result} "<!-- of the rooms.dot with the SHA-256 ${digest} -->\n" PARENT_SCOPE)
endfunction()
