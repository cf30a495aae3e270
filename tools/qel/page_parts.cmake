# The page of `qel view`: its parts, in order, as one array of characters; in the source QEL_PAGE_SOURCE.
set(page_parts
  page/page.html page/style.css
  page/read.js page/model.js page/maths.js page/shaders.js page/coarse.js page/renderer.js page/colours.js
  page/overlay.js page/nearest.js page/pick.js page/card.js page/outliner.js page/time.js page/navigation.js page/search.js page/take.js
  page/stage.js page/controls.js page/main.js)
list(TRANSFORM page_parts PREPEND ${CMAKE_CURRENT_LIST_DIR}/ OUTPUT_VARIABLE page_files)
add_custom_command(
  OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/page.cpp
  COMMAND ${CMAKE_COMMAND} -DFOLDER=${CMAKE_CURRENT_LIST_DIR} "-DPARTS=${page_parts}"
    -DOUTPUT=${CMAKE_CURRENT_BINARY_DIR}/page.cpp -P ${CMAKE_CURRENT_LIST_DIR}/embed.cmake
  DEPENDS ${page_files} ${CMAKE_CURRENT_LIST_DIR}/embed.cmake
  VERBATIM)
set(QEL_PAGE_SOURCE ${CMAKE_CURRENT_BINARY_DIR}/page.cpp)
