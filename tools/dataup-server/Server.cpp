#include "Server.h"

#include "Database.h"
#include "Faults.h"
#include "Page.h"
#include "PageRoutes.h"
#include "Peer.h"
#include "Store.h"
#include "ViewRoutes.h"

#include <QFile>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>

namespace tarnaxe::dataup {

namespace {

using Clock = std::chrono::steady_clock;

// Each request is handled on one thread from routing to the log line.
thread_local Clock::time_point t_requestStarted;

int fail(const QString& message)
{
    std::fprintf(stderr, "dataup-server: %s\n", message.toLocal8Bit().constData());
    return 1;
}

std::unique_ptr<httplib::Server> makeServer(const ServeOptions& options)
{
    if (options.tlsCert.isEmpty())
        return std::make_unique<httplib::Server>();
    return std::make_unique<httplib::SSLServer>(options.tlsCert.toLocal8Bit().constData(),
                                                options.tlsKey.toLocal8Bit().constData());
}

void configure(httplib::Server& server, qint64 maxBody)
{
    // Clients send thousands of appends over one connection.
    server.set_keep_alive_max_count(std::numeric_limits<int>::max());
    server.set_keep_alive_timeout(30);
    server.set_read_timeout(30);
    server.set_write_timeout(30);
    // Small replies to back-to-back requests must not wait for delayed ACKs.
    server.set_tcp_nodelay(true);
    server.set_payload_max_length(size_t(maxBody));
    // Every keep-alive connection holds a worker while it is open.
    server.new_task_queue = [] {
        return new httplib::ThreadPool(32);
    };

    server.set_pre_routing_handler([](const httplib::Request& req, httplib::Response& res) {
        t_requestStarted = Clock::now();
        if (req.method != "POST" && findPage(req.path)) {
            res.status = 405;
            res.set_header("Allow", "POST");
            res.set_content("Method Not Allowed: the /dataup/ pages take POST\n", "text/plain");
            return httplib::Server::HandlerResponse::Handled;
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
    server.set_error_handler([](const httplib::Request&, httplib::Response& res) {
        if (res.body.empty() && !res.has_header("Content-Length"))
            res.set_content("HTTP status " + std::to_string(res.status) + "\n", "text/plain");
    });
    server.set_logger([](const httplib::Request& req, const httplib::Response& res) {
        const double ms =
            std::chrono::duration<double, std::milli>(Clock::now() - t_requestStarted).count();
        const size_t bytes =
            res.body.empty() ? size_t(std::atoll(res.get_header_value("Content-Length").c_str()))
                             : res.body.size();
        std::fprintf(stderr, "%s %s %d %zu bytes %.1f ms\n", req.method.c_str(), req.path.c_str(),
                     res.status, bytes, ms);
    });
}

// Waits for SIGINT or SIGTERM on a thread of its own (the signals are blocked everywhere
// else) and stops the server, so that the listener returns and everything closes in order.
class StopOnSignal {
public:
    explicit StopOnSignal(httplib::Server& server)
    {
        m_thread = std::thread([this, &server] {
            sigset_t set;
            sigemptyset(&set);
            sigaddset(&set, SIGINT);
            sigaddset(&set, SIGTERM);
            const timespec tick{0, 200 * 1000 * 1000};
            while (!m_done) {
                if (sigtimedwait(&set, nullptr, &tick) > 0) {
                    server.stop();
                    dropAllConnections();
                    return;
                }
            }
        });
    }
    ~StopOnSignal()
    {
        m_done = true;
        m_thread.join();
    }

    static void blockSignals()
    {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGINT);
        sigaddset(&set, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
        std::signal(SIGPIPE, SIG_IGN);
    }

private:
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

} // namespace

int runServer(const ServeOptions& options)
{
    // Before any thread exists, so that every thread inherits the mask.
    StopOnSignal::blockSignals();

    const DataFolder folder(options.dataDir);
    QString error;
    if (!folder.create(error))
        return fail(error);
    Database database;
    if (!database.open(folder.databasePath()))
        return fail(QStringLiteral("cannot open the database: ") + database.lastError());
    Store store(database);
    FaultInjector faults;

    const std::unique_ptr<httplib::Server> server = makeServer(options);
    if (!server->is_valid())
        return fail(QStringLiteral("cannot load the certificate or its key"));
    configure(*server, options.maxBody);
    PageRoutes pageRoutes(store, folder, faults, options.maxBody);
    pageRoutes.install(*server);
    installViewRoutes(*server, store, folder);
    installFaultRoutes(*server, faults);
    for (const auto& mount : options.staticMounts) {
        if (!server->set_mount_point(mount.prefix.toStdString(),
                                     QFile::encodeName(mount.folder).toStdString()))
            return fail(QStringLiteral("cannot serve ") + mount.folder);
    }
    // Module scripts are refused by browsers unless served as JavaScript.
    server->set_file_extension_and_mimetype_mapping("js", "text/javascript");
    server->set_file_extension_and_mimetype_mapping("mjs", "text/javascript");

    const std::string host = options.host.toStdString();
    int port = options.port;
    if (port == 0)
        port = server->bind_to_any_port(host);
    else if (!server->bind_to_port(host, port))
        port = -1;
    if (port < 0)
        return fail(QStringLiteral("cannot listen on %1:%2").arg(options.host).arg(options.port));

    const bool v6 = options.host.contains(QLatin1Char(':'));
    std::printf("dataup-server listening on %s://%s%s%s:%d\n",
                options.tlsCert.isEmpty() ? "http" : "https", v6 ? "[" : "", host.c_str(),
                v6 ? "]" : "", port);
    std::fflush(stdout);

    {
        const StopOnSignal stopper(*server);
        server->listen_after_bind();
    }
    return 0;
}

} // namespace tarnaxe::dataup
