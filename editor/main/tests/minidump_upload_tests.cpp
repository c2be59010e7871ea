// minidump_upload against a small HTTP server of the test's own on 127.0.0.1.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include "test_files.h"

namespace
{

// Accepts one connection, reads one request (headers and a Content-Length
// body) and answers it with `status`.
class OneShotHttpServer
{
public:
    explicit OneShotHttpServer(int status) : status_(status)
    {
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = 0;
        ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        ::listen(fd_, 1);
        socklen_t length = sizeof(address);
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~OneShotHttpServer()
    {
        stop_ = true;
        thread_.join();
        ::close(fd_);
    }

    int port() const { return port_; }
    // Valid once the tool has ended.
    const std::string& head() const { return head_; }
    const std::string& body() const { return body_; }

private:
    void serve()
    {
        pollfd p{fd_, POLLIN, 0};
        while (!stop_ && ::poll(&p, 1, 100) == 0)
        {
        }
        if (stop_)
            return;
        const int client = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            return;
        std::string data;
        char buf[65536];
        std::size_t headEnd = std::string::npos;
        std::size_t wanted = std::string::npos;
        for (;;)
        {
            if (headEnd != std::string::npos && data.size() >= headEnd + 4 + wanted)
                break;
            pollfd c{client, POLLIN, 0};
            if (::poll(&c, 1, 10000) <= 0)
                break;
            const ssize_t n = ::recv(client, buf, sizeof(buf), 0);
            if (n <= 0)
                break;
            data.append(buf, static_cast<std::size_t>(n));
            if (headEnd == std::string::npos &&
                (headEnd = data.find("\r\n\r\n")) != std::string::npos)
            {
                head_ = data.substr(0, headEnd);
                std::string lower = head_;
                for (char& ch : lower)
                    ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
                const std::size_t at = lower.find("\r\ncontent-length:");
                wanted = at == std::string::npos ? 0 : std::stoul(lower.substr(at + 17));
            }
        }
        if (headEnd != std::string::npos)
            body_ = data.substr(headEnd + 4);
        const std::string answer = "HTTP/1.1 " + std::to_string(status_) +
                                   (status_ == 200 ? " OK" : " Internal Server Error") +
                                   "\r\nContent-Type: text/plain\r\nContent-Length: 8\r\n"
                                   "Connection: close\r\n\r\nCrashID\n";
        ::send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
        ::close(client);
    }

    int status_;
    int fd_ = -1;
    int port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
    std::string head_;
    std::string body_;
};

// A port on which nothing listens.
int closedPort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    socklen_t length = sizeof(address);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(fd);
    return ntohs(address.sin_port);
}

int runUpload(const QStringList& arguments, QByteArray* err = nullptr)
{
    QProcess process;
    process.start(UPLOAD_EXE, arguments);
    if (!process.waitForFinished(60000))
    {
        process.kill();
        process.waitForFinished();
        return -1000;
    }
    if (err != nullptr)
        *err = process.readAllStandardError();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1000;
}

// The part of a multipart body whose Content-Disposition names `name`: its
// headers and its content.
bool findPart(const std::string& body, const std::string& boundary, const std::string& name,
              std::string* headers, std::string* content)
{
    const std::string delimiter = "--" + boundary;
    std::size_t at = body.find(delimiter);
    while (at != std::string::npos)
    {
        const std::size_t start = at + delimiter.size() + 2;  // past CRLF
        const std::size_t next = body.find("\r\n" + delimiter, start);
        if (next == std::string::npos)
            return false;
        const std::string part = body.substr(start, next - start);
        const std::size_t split = part.find("\r\n\r\n");
        if (split != std::string::npos &&
            part.substr(0, split).find("name=\"" + name + "\"") != std::string::npos)
        {
            *headers = part.substr(0, split);
            *content = part.substr(split + 4);
            return true;
        }
        at = next + 2;
    }
    return false;
}

}  // namespace

TEST(MinidumpUpload, PostsProductVersionAndDumpAsMultipartForm)
{
    QTemporaryDir dir;
    QByteArray dumpBytes("MDMP\0\x01\x02\xff binary dump\r\n--not-a-boundary\n", 40);
    for (int i = 0; i < 5000; ++i)
        dumpBytes.append(static_cast<char>(i * 7));
    const QString dumpPath = dir.filePath("0f1e2d3c.dmp");
    ASSERT_TRUE(TestFiles::write(dumpPath, dumpBytes));

    std::string head, body;
    {
        OneShotHttpServer server(200);
        const QString url =
            QString("http://127.0.0.1:%1/post/bp/crash/postBP.php").arg(server.port());
        QByteArray err;
        EXPECT_EQ(
            runUpload({"-p", "ScintariParticles Editor", "-v", "1.0.19-9167f68-lnx", dumpPath, url},
                      &err),
            0)
            << err.constData();
        head = server.head();
        body = server.body();
    }
    EXPECT_EQ(head.rfind("POST /post/bp/crash/postBP.php HTTP/1.1\r\n", 0), 0u) << head;
    const std::string typeKey = "Content-Type: multipart/form-data; boundary=";
    const std::size_t typeAt = head.find(typeKey);
    ASSERT_NE(typeAt, std::string::npos) << head;
    std::string boundary = head.substr(typeAt + typeKey.size());
    boundary = boundary.substr(0, boundary.find("\r\n"));
    if (boundary.size() >= 2 && boundary.front() == '"')
        boundary = boundary.substr(1, boundary.size() - 2);

    std::string headers, content;
    ASSERT_TRUE(findPart(body, boundary, "prod", &headers, &content)) << body.substr(0, 500);
    EXPECT_EQ(content, "ScintariParticles Editor");
    ASSERT_TRUE(findPart(body, boundary, "ver", &headers, &content));
    EXPECT_EQ(content, "1.0.19-9167f68-lnx");
    ASSERT_TRUE(findPart(body, boundary, "upload_file_minidump", &headers, &content));
    EXPECT_NE(headers.find("filename=\"0f1e2d3c.dmp\""), std::string::npos) << headers;
    EXPECT_EQ(content,
              std::string(dumpBytes.constData(), static_cast<std::size_t>(dumpBytes.size())));
    EXPECT_NE(body.find("--" + boundary + "--"), std::string::npos) << "the body ends properly";
}

TEST(MinidumpUpload, RefusedConnectionFails)
{
    QTemporaryDir dir;
    ASSERT_TRUE(TestFiles::write(dir.filePath("a.dmp"), "dump"));
    const QString url = QString("http://127.0.0.1:%1/post/bp/crash/postBP.php").arg(closedPort());
    QByteArray err;
    EXPECT_NE(runUpload({"-p", "P", "-v", "V", dir.filePath("a.dmp"), url}, &err), 0);
    EXPECT_TRUE(err.contains("failed")) << err.constData();
}

TEST(MinidumpUpload, ServerErrorFails)
{
    QTemporaryDir dir;
    ASSERT_TRUE(TestFiles::write(dir.filePath("a.dmp"), "dump"));
    OneShotHttpServer server(500);
    const QString url = QString("http://127.0.0.1:%1/post/bp/crash/postBP.php").arg(server.port());
    EXPECT_NE(runUpload({"-p", "P", "-v", "V", dir.filePath("a.dmp"), url}), 0);
}

TEST(MinidumpUpload, BadCommandLinesAndMissingDumpsFail)
{
    QTemporaryDir dir;
    ASSERT_TRUE(TestFiles::write(dir.filePath("a.dmp"), "dump"));
    const QString url = "http://127.0.0.1:9/post/bp/crash/postBP.php";
    EXPECT_EQ(runUpload({"-v", "V", dir.filePath("a.dmp"), url}), 1) << "no product";
    EXPECT_EQ(runUpload({"-p", "P", "-v", "V", dir.filePath("a.dmp")}), 1) << "no address";
    EXPECT_EQ(runUpload({"-p", "P", "-v", "V", dir.filePath("a.dmp"), "not a url"}), 1);
    EXPECT_EQ(runUpload({"-p", "P", "-v", "V", dir.filePath("missing.dmp"), url}), 2);
}
