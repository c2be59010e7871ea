// minidump_upload: posts a crash dump to a crash collector.
//
//   minidump_upload -p <product> -v <version> <dump file> <url>
//
// The dump goes as a multipart/form-data HTTP(S) POST with the fields "prod"
// (product), "ver" (version) and the file "upload_file_minidump". Exit codes:
// 0 the collector accepted the dump (2xx), 1 bad command line, 2 the dump file
// can't be read, 3 the post failed (no connection, time-out, non-2xx answer).

#include <cstdio>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

namespace
{

constexpr int exitUsage = 1;
constexpr int exitNoDump = 2;
constexpr int exitPostFailed = 3;
constexpr int timeoutMs = 60000;

QHttpPart textPart(const char* name, const QString& value)
{
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader,
                   QString("form-data; name=\"%1\"").arg(name));
    part.setBody(value.toUtf8());
    return part;
}

}  // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("minidump_upload");
    QCoreApplication::setApplicationVersion(SCINTARI_VERSION_STRING);

    QCommandLineParser parser;
    parser.setApplicationDescription("Posts a crash dump to a crash collector.");
    parser.addHelpOption();
    QCommandLineOption productOption("p", "Product name.", "product");
    QCommandLineOption versionOption("v", "Product version.", "version");
    parser.addOption(productOption);
    parser.addOption(versionOption);
    parser.addPositionalArgument("dump", "The dump file.");
    parser.addPositionalArgument("url", "Address of the crash collector.");
    if (!parser.parse(QCoreApplication::arguments()))
    {
        std::fprintf(stderr, "%s\n%s", qPrintable(parser.errorText()),
                     qPrintable(parser.helpText()));
        return exitUsage;
    }
    if (parser.isSet("help"))
    {
        std::printf("%s", qPrintable(parser.helpText()));
        return 0;
    }
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 2 || !parser.isSet(productOption) || !parser.isSet(versionOption))
    {
        std::fprintf(stderr, "Expected -p <product> -v <version> <dump file> <url>\n%s",
                     qPrintable(parser.helpText()));
        return exitUsage;
    }
    const QUrl url(positional[1], QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != "http" && url.scheme() != "https"))
    {
        std::fprintf(stderr, "Not an http or https address: %s\n", qPrintable(positional[1]));
        return exitUsage;
    }

    auto* dump = new QFile(positional[0]);
    if (!dump->open(QIODevice::ReadOnly))
    {
        std::fprintf(stderr, "Can't read the dump %s: %s\n", qPrintable(positional[0]),
                     qPrintable(dump->errorString()));
        delete dump;
        return exitNoDump;
    }

    auto* multiPart = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    multiPart->append(textPart("prod", parser.value(productOption)));
    multiPart->append(textPart("ver", parser.value(versionOption)));
    QHttpPart filePart;
    filePart.setHeader(QNetworkRequest::ContentTypeHeader, "application/octet-stream");
    filePart.setHeader(QNetworkRequest::ContentDispositionHeader,
                       QString("form-data; name=\"upload_file_minidump\"; filename=\"%1\"")
                           .arg(QFileInfo(positional[0]).fileName()));
    filePart.setBodyDevice(dump);
    dump->setParent(multiPart);
    multiPart->append(filePart);

    QNetworkAccessManager manager;
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::UserAgentHeader,
                      QString("minidump_upload/%1").arg(SCINTARI_VERSION_STRING));
    QNetworkReply* reply = manager.post(request, multiPart);
    multiPart->setParent(reply);

    QEventLoop loop;
    QTimer timeout;
    timeout.setSingleShot(true);
    QObject::connect(&timeout, &QTimer::timeout, reply, &QNetworkReply::abort);
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    timeout.start(timeoutMs);
    if (!reply->isFinished())
        loop.exec();

    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QByteArray answer = reply->readAll();
    if (reply->error() != QNetworkReply::NoError || status < 200 || status > 299)
    {
        std::fprintf(stderr, "Upload of %s to %s failed: %s (HTTP status %d)\n",
                     qPrintable(positional[0]), qPrintable(url.toString()),
                     qPrintable(reply->errorString()), status);
        delete reply;
        return exitPostFailed;
    }
    std::printf("Dump %s uploaded to %s\n", qPrintable(positional[0]), qPrintable(url.toString()));
    if (!answer.isEmpty())
        std::printf("%s\n", answer.constData());
    delete reply;
    return 0;
}
