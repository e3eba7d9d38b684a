include("${CMAKE_CURRENT_LIST_DIR}/zoeavl-targets.cmake")
