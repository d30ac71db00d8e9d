#include "support/DataupServer.h"

#include "support/ReadyLine.h"

#include <QEventLoop>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSslConfiguration>
#include <QTimer>

namespace tarnaxe::test {

DataupServer::DataupServer(DataupServerOptions options) : m_options(std::move(options)) {}

DataupServer::~DataupServer()
{
    stop();
}

bool DataupServer::start(int timeoutMs)
{
    static const QRegularExpression ready(
        QStringLiteral("^dataup-server listening on https?://(.+):(\\d+)$"));
    QStringList arguments = {QStringLiteral("--data"), dataDir(), QStringLiteral("--listen"),
                             QStringLiteral("127.0.0.1:0")};
    if (m_options.tls) {
        m_certificates = std::make_unique<TestCertificates>();
        if (!m_certificates->isValid()) {
            m_error = m_certificates->error();
            return false;
        }
        arguments << QStringLiteral("--tls-cert") << m_certificates->server().certificate
                  << QStringLiteral("--tls-key") << m_certificates->server().key;
    }
    if (m_options.maxBody > 0)
        arguments << QStringLiteral("--max-body") << QString::number(m_options.maxBody);
    arguments += m_options.extraArguments;
    m_process.setProgram(QStringLiteral(TARNAXE_DATAUP_SERVER_PATH));
    m_process.setArguments(arguments);
    m_process.setStandardErrorFile(logPath(), QIODevice::Append);
    if (const auto match = startAndWaitForReadyLine(m_process, ready, timeoutMs)) {
        m_port = quint16(match->captured(2).toUInt());
        return true;
    }
    m_error =
        m_process.error() == QProcess::FailedToStart
            ? m_process.errorString()
            : QStringLiteral("dataup-server did not become ready: ") + QString::fromUtf8(logTail());
    stop();
    return false;
}

void DataupServer::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    stopProcess(m_process, 10000);
    m_exitCode = m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    if (m_exitCode != 0)
        qWarning("dataup-server exited with %d; the end of its log:\n%s", m_exitCode,
                 logTail().constData());
}

QByteArray DataupServer::logTail() const
{
    QFile log(logPath());
    return log.open(QIODevice::ReadOnly) ? log.readAll().right(4000) : QByteArray();
}

QString DataupServer::seed()
{
    QProcess process;
    process.start(QStringLiteral(TARNAXE_DATAUP_SERVER_PATH),
                  {QStringLiteral("seed"), QStringLiteral("--data"), dataDir()});
    if (!process.waitForFinished(60000) || process.exitCode() != 0) {
        m_error = QStringLiteral("seed failed: ") +
                  QString::fromLocal8Bit(process.readAllStandardError());
        return {};
    }
    return QString::fromLatin1(process.readAllStandardOutput()).trimmed();
}

QByteArray DataupServer::request(const QByteArray& method, const QByteArray& path,
                                 const QByteArray& body, int* httpStatus)
{
    if (httpStatus)
        *httpStatus = 0;
    if (!m_network)
        m_network = std::make_unique<QNetworkAccessManager>();
    QNetworkRequest request(
        QUrl(QStringLiteral("%1://%2%3")
                 .arg(m_options.tls ? "https" : "http", hostPort(), QString::fromLatin1(path))));
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QStringLiteral("text/plain; charset=windows-1252"));
    if (m_options.tls) {
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        tls.addCaCertificates(caCertificatePath());
        request.setSslConfiguration(tls);
    }
    QNetworkReply* reply = m_network->sendCustomRequest(request, method, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    loop.exec();
    const QScopedPointer<QNetworkReply, QScopedPointerDeleteLater> owner(reply);
    if (!reply->isFinished()) {
        reply->abort();
        m_error = QStringLiteral("no answer in time");
        return {};
    }
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (httpStatus)
        *httpStatus = status;
    if (status == 0)
        m_error = reply->errorString();
    return reply->readAll();
}

bool DataupServer::setFaults(const QByteArray& json)
{
    int status = 0;
    request("POST", "/_faults", json, &status);
    return status == 200;
}

QJsonDocument DataupServer::json(const QByteArray& path)
{
    int status = 0;
    const QByteArray body = request("GET", path, {}, &status);
    return status == 200 ? QJsonDocument::fromJson(body) : QJsonDocument();
}

QJsonObject DataupServer::transaction(const QString& guid)
{
    return json("/api/transactions/" + QUrl::toPercentEncoding(guid)).object();
}

QJsonArray DataupServer::transactions()
{
    return json("/api/transactions").array();
}

} // namespace tarnaxe::test
