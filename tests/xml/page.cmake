# The page shows the example exactly as it is compiled and tested.
file(READ ${SOURCE_DIR}/docs/xml-reader.md page)
file(READ ${SOURCE_DIR}/docs/examples/InventoryReader.h example)
string(FIND "${page}" "${example}" found)
if(found EQUAL -1)
  message(FATAL_ERROR "docs/xml-reader.md does not show docs/examples/InventoryReader.h as it is")
endif()
