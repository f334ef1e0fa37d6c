// oru-console: a web page that shows and drives a gateway, served on the
// loopback address by default. The HTTP server runs on cpp-httplib's own
// threads; everything that touches the gateway runs on the Qt thread.
#include "console.h"

#include <httplib.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>

#include <future>
#include <thread>

namespace {

struct Options {
    std::string host = "127.0.0.1";
    int port = 8080;
    std::string token;
};

// A request is ours when its Host names the address we listen on (DNS
// rebinding gives another name) and any Origin is this same site.
bool sameSite(const httplib::Request &req, const Options &o)
{
    const std::string port = ":" + std::to_string(o.port);
    std::vector<std::string> names{o.host + port};
    if (o.host == "127.0.0.1")
        names.push_back("localhost" + port);
    const std::string host = req.get_header_value("Host");
    if (std::find(names.begin(), names.end(), host) == names.end())
        return false;
    if (!req.has_header("Origin"))
        return true;
    const std::string origin = req.get_header_value("Origin");
    return std::any_of(names.begin(), names.end(), [&](const std::string &n) { return origin == "http://" + n; });
}

bool tokenOk(const httplib::Request &req, const Options &o)
{
    if (o.token.empty())
        return true;
    return req.get_header_value("X-Oru-Token") == o.token || req.get_param_value("token") == o.token;
}

std::string resource(const char *path)
{
    QFile f(QString::fromLatin1(path));
    return f.open(QIODevice::ReadOnly) ? f.readAll().toStdString() : std::string();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("oru-console");
    QCoreApplication::setApplicationVersion(ORU_VERSION);
    QCommandLineParser p;
    p.setApplicationDescription("Shows and drives a gateway from a web browser.");
    p.addHelpOption();
    p.addVersionOption();
    p.addOptions(
        {{"server", "Control server name.", "name", qEnvironmentVariable("ORU_MESSAGE_SERVER", "oru_dgw_message")},
         {"stream-server", "Stream server name.", "name", qEnvironmentVariable("ORU_STREAM_SERVER", "oru_dgw_stream")},
         {"listen", "Address and port to serve on.", "host:port", "127.0.0.1:8080"},
         {"token", "Secret every request must carry (required off loopback).", "token"},
         {"hello", "Become the main client: the gateway stops when the console leaves."},
         {"open", "Open the page in the browser named by $BROWSER, or with xdg-open."}});
    p.process(app);

    Options o;
    const QString listen = p.value("listen");
    const int colon = listen.lastIndexOf(':');
    o.host = listen.left(colon).toStdString();
    o.port = listen.mid(colon + 1).toInt();
    o.token = p.value("token").toStdString();
    if (colon < 0 || o.port <= 0 || o.port > 65535) {
        qCritical("oru-console: --listen wants host:port");
        return 2;
    }
    if (o.host != "127.0.0.1" && o.token.empty()) {
        qCritical("oru-console: listening on %s needs --token", o.host.c_str());
        return 2;
    }
    if (p.isSet("hello"))
        qWarning("oru-console: main client: the gateway stops when the console exits");

    Console console(p.value("server"), p.value("stream-server"), p.isSet("hello"));
    httplib::Server http;
    // Every video, event stream and idle keep-alive connection holds a thread
    // of the pool; the default of 8 starves requests behind a 2x2 grid.
    http.new_task_queue = [] { return new httplib::ThreadPool(64); };
    http.set_pre_routing_handler([&o](const httplib::Request &req, httplib::Response &res) {
        if (sameSite(req, o) && tokenOk(req, o))
            return httplib::Server::HandlerResponse::Unhandled;
        res.status = 403;
        res.set_content("refused\n", "text/plain");
        return httplib::Server::HandlerResponse::Handled;
    });
    const std::string page = resource(":/console/index.html");
    const std::string script = resource(":/console/app.js");
    http.Get("/", [&page](const httplib::Request &, httplib::Response &res) {
        res.set_content(page, "text/html; charset=utf-8");
    });
    http.Get("/app.js", [&script](const httplib::Request &, httplib::Response &res) {
        res.set_content(script, "text/javascript; charset=utf-8");
    });
    // JSON requests: POST /api/<name> with a JSON object of arguments.
    http.Post(R"(/api/(\w+))", [&console](const httplib::Request &req, httplib::Response &res) {
        const QString name = QString::fromStdString(req.matches[1]);
        const QJsonObject args = QJsonDocument::fromJson(QByteArray::fromStdString(req.body)).object();
        auto done = std::make_shared<std::promise<QJsonObject>>();
        auto result = done->get_future();
        QMetaObject::invokeMethod(&console, [&console, name, args, done] {
            console.request(name, args, [done](const QJsonObject &answer) { done->set_value(answer); });
        });
        res.set_content(QJsonDocument(result.get()).toJson(QJsonDocument::Compact).toStdString(), "application/json");
    });
    // Events: Server-Sent Events, one JSON object per event.
    http.Get("/events", [&console](const httplib::Request &, httplib::Response &res) {
        auto after = std::make_shared<quint64>(0);
        res.set_chunked_content_provider("text/event-stream", [&console, after](size_t, httplib::DataSink &sink) {
            std::string e;
            const std::string out = console.nextEvent(*after, e, 15000) ? "data: " + e + "\n\n" : ": idle\n\n";
            return sink.write(out.data(), out.size());
        });
    });
    // Video: the latest picture of a feed as an MJPEG stream; live feeds are
    // "<devId>/<channel>", the playback is "play".
    auto feedKey = [](const httplib::Request &req) {
        return req.has_param("play")
            ? QStringLiteral("play")
            : QString::fromStdString(req.get_param_value("devId") + "/"
                                     + std::to_string(std::atoi(req.get_param_value("channel").c_str())));
    };
    http.Get("/video", [&console, feedKey](const httplib::Request &req, httplib::Response &res) {
        const QString key = feedKey(req);
        auto feed = console.feed(key);
        auto seen = std::make_shared<quint64>(0);
        res.set_chunked_content_provider(
            "multipart/x-mixed-replace; boundary=frame",
            [feed, seen](size_t, httplib::DataSink &sink) {
                std::unique_lock<std::mutex> g(feed->lock);
                if (!feed->changed.wait_for(g, std::chrono::seconds(5), [&] { return feed->serial > *seen; }))
                    return sink.is_writable();
                *seen = feed->serial;
                ++feed->sent;
                const std::string part = "--frame\r\nContent-Type: image/jpeg\r\nContent-Length: "
                    + std::to_string(feed->jpeg.size()) + "\r\n\r\n" + feed->jpeg + "\r\n";
                g.unlock();
                return sink.write(part.data(), part.size());
            },
            [&console, key](bool) { console.releaseFeed(key); });
    });
    // Snapshot: the current picture of a feed someone is watching, as a download.
    http.Get("/snapshot", [&console, feedKey](const httplib::Request &req, httplib::Response &res) {
        const QString key = feedKey(req);
        auto feed = console.feed(key);
        {
            std::unique_lock<std::mutex> g(feed->lock);
            feed->changed.wait_for(g, std::chrono::seconds(5), [&] { return feed->serial > 0; });
            res.set_content(feed->jpeg, "image/jpeg");
        }
        res.set_header("Content-Disposition", "attachment; filename=\"snapshot.jpg\"");
        console.releaseFeed(key);
    });
    if (!http.bind_to_port(o.host.c_str(), o.port)) {
        qCritical("oru-console: cannot listen on %s", qPrintable(listen));
        return 1;
    }
    std::thread server([&http] { http.listen_after_bind(); });
    const QString url = QStringLiteral("http://%1/").arg(listen);
    qInfo("oru-console: serving %s", qPrintable(url));
    if (p.isSet("open") && !QProcess::startDetached(qEnvironmentVariable("BROWSER", "xdg-open"), {url}))
        qWarning("oru-console: cannot start a browser; open %s", qPrintable(url));
    const int rc = app.exec();
    http.stop();
    server.join();
    return rc;
}
