# The review, the banner and the history of removals: what stands behind the views, and the views in the real
# (offscreen) window.
larkfold_test(cleanup_model_tests
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/CleanupHistoryModelTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/CleanupReviewModelTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test
  LABELS shell)

larkfold_test(cleanup_window_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/CleanupWindowTests.cpp" "${CMAKE_CURRENT_LIST_DIR}/WindowFixture.h"
  LIBRARIES larkfold_test_support larkfold_shell_ui larkfold_shell_uiplugin Qt6::Test
  LABELS shell)
