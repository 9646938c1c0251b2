# The example investigations in examples/, listed one by one. The example tests and the
# investigation benchmark read every file named here; a test checks that the list and the
# folder agree.
set(ZUBRA_EXAMPLES_DIR "${PROJECT_SOURCE_DIR}/examples")
set(ZUBRA_EXAMPLE_FILES
  first-design.json
  screening-suzuki-coupling.json
  rsm-enzymatic-hydrolysis.json
  mixture-tablet-blend.json
  process-mixture-bread.json
  qualitative-protein-expression.json
  doptimal-extrusion-blocks.json
  split-plot-powder-coating.json)
# The list as one compile definition (a CMake list would split it at its semicolons).
string(JOIN "," ZUBRA_EXAMPLE_FILES_TEXT ${ZUBRA_EXAMPLE_FILES})
