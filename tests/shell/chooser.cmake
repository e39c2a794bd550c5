# The window's own folder chooser: the crumbs, and the model over real folders.
larkfold_test(crumb_list_model_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/kit/CrumbListModelTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test
  LABELS shell)

larkfold_test(folder_chooser_model_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/chooser/FolderChooserModelTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test
  LABELS shell)
