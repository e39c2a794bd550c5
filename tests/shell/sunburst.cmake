# The map's tests. The first two need no window.
larkfold_test(sunburst_layout_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/SunburstLayoutTests.cpp"
  LIBRARIES larkfold_map GTest::gtest_main
  LABELS shell)

larkfold_test(sunburst_raster_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/SunburstRasterTests.cpp"
  LIBRARIES larkfold_map Qt6::Gui GTest::gtest_main
  LABELS shell)
