// Connection churn while many requests wait for their answers: the time of
// 2,000 connect/close cycles with 500,000 unanswered requests in the gateway,
// against the same cycles with none (the baseline, in the same run). The
// gateway runs in this process; nothing answers the requests.
//
//   oru_bench_churn [pending] [cycles]

#include "bench_util.h"

#include "connection.h"
#include "frame_codec.h"
#include "oru_message.pb.h"

#include <oru_sdk/dgw_signals.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using oru_client::Connection;
using oru_sdk::MessageType;

namespace {

QByteArray request(int id)
{
    oru_sdk_proto::DevNetGetReq m;
    m.set_request_id("pending-" + std::to_string(id));
    return oru_sdk::encodeFrame(MessageType::GetDevNetReq, QByteArray::fromStdString(m.SerializeAsString()));
}

// Waits until the gateway has read everything sent so far on `main`.
bool barrier(Connection *main, int *seen, int expected)
{
    main->sendRaw(request(-1));
    return oru_client::spinUntil([&] { return *seen >= expected + 1; }, 600000);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int pending = argc > 1 ? std::atoi(argv[1]) : 500000;
    const int cycles = argc > 2 ? std::atoi(argv[2]) : 2000;
    QTemporaryDir data;
    qputenv("XDG_DATA_HOME", data.path().toUtf8());
    const QString id = QString::number(QCoreApplication::applicationPid());
    const QString control = QStringLiteral("oru_bench_churn_") + id;
    oru_sdk::init_oru_dgw_sdk(QStringLiteral("logs"), control, control + QStringLiteral("_stream"));
    int seen = 0;
    QObject::connect(&oru_sdk::DgwSignals::instance(), &oru_sdk::DgwSignals::signalGetDevNetReq, [&] { ++seen; });

    Connection main;
    if (!main.connectToServer(control))
        return 1;
    main.sendFrame(MessageType::MainClientHello);
    const auto churn = [&] {
        const auto start = bench::Clock::now();
        for (int i = 0; i < cycles; ++i) {
            Connection c;
            if (!c.connectToServer(control))
                return -1.0;
            c.disconnectFromServer();
        }
        return barrier(&main, &seen, seen) ? bench::secondsSince(start) * 1000 : -1.0;
    };

    const double baseline = churn();
    // In batches that the gateway takes whole: its reader relies on frames
    // not being cut at the end of what it has read.
    for (int i = 0; i < pending;) {
        QByteArray batch;
        const int expected = seen + std::min(pending - i, 1000);
        for (const int end = std::min(pending, i + 1000); i < end; ++i)
            batch += request(i);
        main.sendRaw(batch);
        if (!oru_client::spinUntil([&] { return seen >= expected; }, 60000))
            return 1;
    }
    if (!barrier(&main, &seen, seen))
        return 1;
    const double loaded = churn();
    std::printf("%d connect/close cycles: %.0f ms with 0 pending, %.0f ms with %d pending (%.2fx)\n", cycles, baseline,
                loaded, pending, loaded / baseline);
    return baseline < 0 || loaded < 0 ? 1 : 0;
}
