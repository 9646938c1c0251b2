# Configuration sections and their XML and INI backends.
target_sources(zubra
  PRIVATE
  PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES
    ${CMAKE_CURRENT_LIST_DIR}/configuration_section.h)
