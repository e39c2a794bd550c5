# The review, the banner and the history of removals: what stands behind the views, and the views in the real
# (offscreen) window.
larkfold_test(cleanup_model_tests
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/removal/CleanupHistoryModelTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/removal/CleanupReviewModelTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test
  LABELS shell)

larkfold_test(cleanup_window_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/removal/CleanupWindowTests.cpp" "${CMAKE_CURRENT_LIST_DIR}/app/WindowFixture.h"
  LIBRARIES larkfold_test_support larkfold_shell_ui larkfold_shell_uiplugin Qt6::Test
  LABELS shell)
