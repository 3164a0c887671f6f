// Downloads one file through the cache of another library.
//
//     peer_download proj|qt URL DIRECTORY

#include "bench/peers/Proj_Cache.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkDiskCache>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <cstdio>
#include <string>

namespace {

bool Download_With_Qt(const std::string& url, const std::string& directory) {
    const QUrl address(QString::fromStdString(url));
    QNetworkAccessManager manager;
    auto* const cache = new QNetworkDiskCache(&manager);
    cache->setCacheDirectory(QString::fromStdString(directory));
    cache->setMaximumCacheSize(qint64{1} << 30);
    manager.setCache(cache);
    QNetworkReply* const reply = manager.get(QNetworkRequest(address));
    QEventLoop loop;
    // The cache writes its copy meanwhile.
    QObject::connect(reply, &QNetworkReply::readyRead, [reply] { reply->readAll(); });
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    const bool is_complete = reply->error() == QNetworkReply::NoError;
    delete reply;
    return is_complete && cache->metaData(address).isValid();
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 4) {
        std::fputs("usage: peer_download proj|qt URL DIRECTORY\n", stderr);
        return 2;
    }
    const std::string peer = arguments[1];
    if (peer == "qt") {
        const QCoreApplication application(argument_count, arguments);
        return Download_With_Qt(arguments[2], arguments[3]) ? 0 : 1;
    }
    return QEL::Bench::Proj_Cache(arguments[3]).Fetch(arguments[2]) ? 0 : 1;
}
