# Updates and settings: the feed by itself, the check against a real HTTPS server on loopback, the windows.
larkfold_test(update_feed_tests
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/AppcastTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/AppVersionTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/PlainTextTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/TestCertificates.h"
    "${CMAKE_CURRENT_LIST_DIR}/UpdateFeedText.h"
  LIBRARIES larkfold_test_support larkfold_updates Qt6::Network OpenSSL::Crypto
  LABELS shell)

target_compile_definitions(update_feed_tests PRIVATE LARKFOLD_SIGN_FEED="${PROJECT_SOURCE_DIR}/scripts/sign-feed")

larkfold_test(update_manager_tests
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/UpdateManagerTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/TestCertificates.h"
    "${CMAKE_CURRENT_LIST_DIR}/UpdateFeedText.h"
    "${CMAKE_CURRENT_LIST_DIR}/UpdateServer.h"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test OpenSSL::Crypto
  LABELS shell)

larkfold_test(settings_tests
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/SettingsTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/WindowFixture.h"
  LIBRARIES larkfold_test_support larkfold_shell_ui larkfold_shell_uiplugin Qt6::Test OpenSSL::Crypto
  LABELS shell)
