#pragma once
// Small helpers for answers of the HTTP layer.

#include <httplib.h>
#include <string>

namespace tarnaxe::dataup {

// Sends the whole answer and then closes the connection: for requests whose body was not
// read to its end, where keeping the connection would read the rest as a new request.
void replyAndClose(httplib::Response& res, int status, const std::string& body,
                   const char* contentType = "text/plain; charset=utf-8");

void replyJson(httplib::Response& res, int status, const std::string& json);

} // namespace tarnaxe::dataup
