#include "HttpReplies.h"

#include <memory>

namespace tarnaxe::dataup {

void replyAndClose(httplib::Response& res, int status, const std::string& body,
                   const char* contentType)
{
    res.status = status;
    res.set_header("Connection", "close");
    auto text = std::make_shared<std::string>(body.empty() ? std::string("\n") : body);
    res.set_content_provider(text->size(), contentType,
                             [text](size_t offset, size_t length, httplib::DataSink& sink) {
                                 sink.write(text->data() + offset, length);
                                 // Failing after the last byte makes the library close the
                                 // connection instead of waiting for another request.
                                 return false;
                             });
}

void replyJson(httplib::Response& res, int status, const std::string& json)
{
    res.status = status;
    res.set_content(json, "application/json");
}

} // namespace tarnaxe::dataup
