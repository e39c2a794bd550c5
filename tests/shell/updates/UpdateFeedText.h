// Feeds written by a test.
#pragma once

#include <string>

namespace larkfold::test {

inline std::string feedOf(const std::string& channelContent) {
    return R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
  <channel>
    <title>Larkfold</title>
)" + channelContent +
           "</channel></rss>\n";
}

inline std::string itemOf(const std::string& version, const std::string& more = {}) {
    return "<item><title>Larkfold " + version + "</title><sparkle:version>" + version + "</sparkle:version>" +
           more + "</item>\n";
}

inline std::string datedFeedOf(const std::string& date, const std::string& items) {
    return feedOf("<lastBuildDate>" + date + "</lastBuildDate>\n" + items);
}

}  // namespace larkfold::test
