# JSON values, text and number helpers, HTML escaping, ids and the variable-name validator.
target_sources(zubra
  PRIVATE
  PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES)
