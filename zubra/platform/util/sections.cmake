# Configuration sections and their XML and INI backends.
target_sources(zubra
  PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/atomic_file.cpp
    ${CMAKE_CURRENT_LIST_DIR}/configuration_section.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ini_file_section.cpp
    ${CMAKE_CURRENT_LIST_DIR}/key_value_list.cpp
    ${CMAKE_CURRENT_LIST_DIR}/tinyxml2_section.cpp
  PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES
    ${CMAKE_CURRENT_LIST_DIR}/atomic_file.h
    ${CMAKE_CURRENT_LIST_DIR}/configuration_section.h
    ${CMAKE_CURRENT_LIST_DIR}/ini_file_section.h
    ${CMAKE_CURRENT_LIST_DIR}/key_value_list.h
    ${CMAKE_CURRENT_LIST_DIR}/tinyxml2_section.h)
