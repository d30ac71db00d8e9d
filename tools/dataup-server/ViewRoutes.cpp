#include "ViewRoutes.h"

#include "FileDigest.h"
#include "HttpReplies.h"
#include "JsonViews.h"
#include "Peer.h"
#include "WebView.h"

#include <QFile>
#include <QJsonDocument>
#include <memory>

namespace tarnaxe::dataup {

namespace {

std::string json(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Indented).toStdString();
}

std::string json(const QJsonArray& array)
{
    return QJsonDocument(array).toJson(QJsonDocument::Indented).toStdString();
}

void notFound(httplib::Response& res, const char* what)
{
    replyJson(res, 404, json(QJsonObject{{QStringLiteral("error"), QString::fromLatin1(what)}}));
}

// Streams a stored file from disk: attachments may be gigabytes.
void serveFile(httplib::Response& res, const QString& path, qint64 size, const char* type)
{
    auto file = std::make_shared<QFile>(path);
    if (!file->open(QIODevice::ReadOnly))
        return notFound(res, "file not found");
    res.set_content_provider(
        size_t(size), type, [file](size_t offset, size_t length, httplib::DataSink& sink) {
            QByteArray chunk(qsizetype(std::min<size_t>(length, 256 * 1024)), Qt::Uninitialized);
            if (!file->seek(qint64(offset)))
                return false;
            const qint64 got = file->read(chunk.data(), chunk.size());
            return got > 0 && sink.write(chunk.constData(), size_t(got));
        });
}

} // namespace

void installViewRoutes(httplib::Server& server, Store& store, const DataFolder& folder)
{
    server.Get("/", [&store, &folder](const httplib::Request&, httplib::Response& res) {
        const QByteArray page = overviewPage(store, folder);
        res.set_content(page.toStdString(), "text/html; charset=utf-8");
    });
    server.Get("/api/assignments", [&store](const httplib::Request&, httplib::Response& res) {
        replyJson(res, 200, json(assignmentsJson(store)));
    });
    server.Get("/api/transactions", [&store](const httplib::Request&, httplib::Response& res) {
        replyJson(res, 200, json(transactionsJson(store)));
    });
    server.Get(R"(/api/transactions/([^/]+))", [&store, &folder](const httplib::Request& req,
                                                                 httplib::Response& res) {
        const auto found =
            transactionJson(store, folder, QByteArray::fromStdString(req.matches[1].str()));
        if (!found)
            return notFound(res, "transaction not found");
        replyJson(res, 200, json(*found));
    });
    server.Get(R"(/api/assignments/([^/]+))", [&store, &folder](const httplib::Request& req,
                                                                httplib::Response& res) {
        const auto found =
            assignmentJson(store, folder, QByteArray::fromStdString(req.matches[1].str()));
        if (!found)
            return notFound(res, "assignment not found");
        replyJson(res, 200, json(*found));
    });
    server.Get(R"(/files/(\d{1,18}))",
               [&store, &folder](const httplib::Request& req, httplib::Response& res) {
                   const qint64 id = std::stoll(req.matches[1].str());
                   std::optional<FileRecord> file;
                   {
                       const auto lock = store.lock();
                       // Only what was committed is shown; an open upload is not public yet.
                       if (store.isAttachedFile(id))
                           file = store.fileById(id);
                   }
                   if (!file)
                       return notFound(res, "no committed attachment has this file");
                   const QString path = folder.storedFile(file->id);
                   serveFile(res, path, file->size, contentTypeOf(path, file->fileName));
               });
}

void installFaultRoutes(httplib::Server& server, FaultInjector& faults)
{
    const auto loopbackOnly = [](const httplib::Request& req, httplib::Response& res) {
        if (isLoopbackAddress(req.remote_addr))
            return true;
        res.status = 403;
        res.set_content("Faults may only be set from this machine\n", "text/plain");
        return false;
    };
    server.Get("/_faults", [&faults](const httplib::Request&, httplib::Response& res) {
        replyJson(res, 200, faults.describe().toStdString());
    });
    server.Post(
        "/_faults", [&faults, loopbackOnly](const httplib::Request& req, httplib::Response& res) {
            if (!loopbackOnly(req, res))
                return;
            QString error;
            if (!faults.setRules(QByteArray::fromStdString(req.body), error))
                return replyJson(res, 400, json(QJsonObject{{QStringLiteral("error"), error}}));
            replyJson(res, 200, faults.describe().toStdString());
        });
    server.Delete("/_faults",
                  [&faults, loopbackOnly](const httplib::Request& req, httplib::Response& res) {
                      if (!loopbackOnly(req, res))
                          return;
                      faults.clear();
                      replyJson(res, 200, "[]\n");
                  });
}

} // namespace tarnaxe::dataup
