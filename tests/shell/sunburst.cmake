# The map's tests. The first two need no window.
larkfold_test(sunburst_layout_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/disk/map/SunburstLayoutTests.cpp"
  LIBRARIES larkfold_map GTest::gtest_main
  LABELS shell)

larkfold_test(sunburst_raster_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/disk/map/SunburstRasterTests.cpp"
  LIBRARIES larkfold_map Qt6::Gui GTest::gtest_main
  LABELS shell)

larkfold_test(sunburst_item_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/disk/map/SunburstItemTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui larkfold_shell_uiplugin Qt6::Test
  LABELS shell)
larkfold_computes_for_long(sunburst_layout_tests sunburst_raster_tests)
