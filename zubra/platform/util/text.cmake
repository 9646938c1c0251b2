# JSON values, text and number helpers, HTML escaping, ids and the variable-name validator.
target_sources(zubra
  PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/html_utilities.cpp
    ${CMAKE_CURRENT_LIST_DIR}/json.cpp
    ${CMAKE_CURRENT_LIST_DIR}/kt_string.cpp
    ${CMAKE_CURRENT_LIST_DIR}/unique_id.cpp
    ${CMAKE_CURRENT_LIST_DIR}/variable_name_validator.cpp
  PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES
    ${CMAKE_CURRENT_LIST_DIR}/html_utilities.h
    ${CMAKE_CURRENT_LIST_DIR}/json.h
    ${CMAKE_CURRENT_LIST_DIR}/kt_string.h
    ${CMAKE_CURRENT_LIST_DIR}/unique_id.h
    ${CMAKE_CURRENT_LIST_DIR}/variable_name_validator.h)
