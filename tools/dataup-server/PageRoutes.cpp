#include "PageRoutes.h"

#include "FieldStreamParser.h"
#include "HttpReplies.h"
#include "Page.h"
#include "Peer.h"

#include <QRandomGenerator>
#include <chrono>
#include <thread>

namespace tarnaxe::dataup {

namespace {

Reply dispatch(const Page& page, PageContext& context, FieldStreamParser& parser,
               BinarySpool& spool)
{
    if (parser.fields().isEmpty() && !parser.hasBinary())
        return Reply::failure("Empty request: no fields");
    if (parser.hasBinary() && (!page.binaryField || parser.binaryName() != page.binaryField))
        return Reply::failure("Unexpected binary field: " + parser.binaryName());
    if (page.binaryField && !parser.hasBinary())
        return Reply::failure(QByteArray("Missing field: ") + page.binaryField);
    const RequestBody body{parser.fields(), parser.binaryName(), &spool};
    return page.handle(context, body);
}

// Bytes that cannot be read as fields: no TAB and no colon among them.
std::string garbage()
{
    auto* random = QRandomGenerator::global();
    std::string bytes(64 + random->bounded(192), '\0');
    for (char& c : bytes) {
        do
            c = char(random->bounded(256));
        while (c == '\t' || c == ':');
    }
    return bytes;
}

void sendReply(httplib::Response& res, const QByteArray& bytes)
{
    res.status = 200;
    res.set_content(std::string(bytes.constData(), size_t(bytes.size())), kReplyContentType);
}

} // namespace

void PageRoutes::install(httplib::Server& server)
{
    for (const Page& page : pages()) {
        server.Post(page.path, [this, &page](const httplib::Request& req, httplib::Response& res,
                                             const httplib::ContentReader& reader) {
            serve(page, req, res, reader);
        });
    }
}

void PageRoutes::serve(const Page& page, const httplib::Request& req, httplib::Response& res,
                       const httplib::ContentReader& reader)
{
    const std::string tooLarge =
        "Request body larger than " + std::to_string(m_maxBody) + " bytes\n";
    if (req.has_header("Content-Length")) {
        const auto declared =
            parseSize(QByteArray::fromStdString(req.get_header_value("Content-Length")));
        if (!declared || *declared > m_maxBody)
            return replyAndClose(res, 413, tooLarge);
    }

    const Fault fault = m_faults.next(page.path);
    if (fault.action == FaultAction::Delay)
        std::this_thread::sleep_for(std::chrono::milliseconds(fault.delayMs));

    BinarySpool spool(m_folder.tempFolder());
    FieldStreamParser parser(spool);
    qint64 received = 0;
    bool exceeded = false;
    bool malformed = false;
    const bool complete = reader([&](const char* data, size_t length) {
        received += qint64(length);
        if (received > m_maxBody) {
            exceeded = true;
            return false;
        }
        // A malformed body is still read to its end, so that the connection stays usable.
        if (!malformed && !parser.feed(data, qint64(length)))
            malformed = true;
        return true;
    });
    if (exceeded)
        return replyAndClose(res, 413, tooLarge);
    if (!complete)
        return replyAndClose(res, 400, "Incomplete request body\n");

    switch (fault.action) {
    case FaultAction::Http500:
        res.status = 500;
        res.set_content("Internal Server Error (injected fault)\n", "text/plain");
        return;
    case FaultAction::Drop:
        if (!dropConnection(req.local_port, req.remote_addr, req.remote_port))
            std::fprintf(stderr, "dataup-server: could not find the connection to drop\n");
        // Whatever is written now fails, and the library closes the socket.
        return replyAndClose(res, 500, "dropped\n");
    case FaultAction::Garbage:
        res.status = 200;
        res.set_content(garbage(), kReplyContentType);
        return;
    case FaultAction::NoStatus:
        return sendReply(res, "Server:dataup-server\tFault:no-status\t");
    case FaultAction::None:
    case FaultAction::Delay:
        break;
    }

    if (!malformed && !parser.finish())
        malformed = true;
    PageContext context{m_store, m_folder};
    const Reply reply = malformed ? Reply::failure(parser.error().toUtf8())
                                  : dispatch(page, context, parser, spool);
    sendReply(res, reply.bytes());
}

} // namespace tarnaxe::dataup
