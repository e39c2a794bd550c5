// A real HTTPS server on the loopback interface, in the test's own event loop, that answers as a good server
// does or as a broken or hostile one.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QSslConfiguration>
#include <QSslServer>
#include <QSslSocket>
#include <QStringList>
#include <QTcpServer>
#include <QTimer>
#include <chrono>
#include <stdexcept>
#include <string>
#include <utility>

#include "shell/updates/TestCertificates.h"

namespace larkfold::test {

struct Answer {
    enum class Way {
        whole,     // as HTTP says
        cutOff,    // half of what was announced, then the connection ends
        endless,   // without an announced length, and without an end
        dripping,  // one byte now and then, without an end
        silent     // nothing at all
    };

    QByteArray body = {};
    int status = 200;
    QByteArray headers = {};  // further lines, each with its end
    Way way = Way::whole;
};

class UpdateServer : public QObject {
public:
    explicit UpdateServer(const ServerIdentity& identity) {
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.setLocalCertificate(identity.certificate);
        configuration.setPrivateKey(identity.key);
        server_.setSslConfiguration(configuration);
        connect(&server_, &QSslServer::pendingConnectionAvailable, this, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                serve(*socket);
            }
        });
        if (!server_.listen(QHostAddress::LocalHost)) {
            throw std::runtime_error("The test's server could not listen.");
        }
    }

    quint16 port() const { return server_.serverPort(); }
    std::string address(const std::string& path) const {
        return "https://localhost:" + std::to_string(port()) + path;
    }
    void answer(const QByteArray& path, Answer answer) { answers_[path] = std::move(answer); }

    // Each request as it arrived, with its headers.
    const QList<QByteArray>& requests() const { return requests_; }
    qint64 bytesSent() const { return bytesSent_; }

private:
    void serve(QTcpSocket& socket) {
        connect(&socket, &QTcpSocket::disconnected, &socket, &QObject::deleteLater);
        connect(&socket, &QIODevice::readyRead, this, [this, &socket] {
            QByteArray& request = pending_[&socket];
            request += socket.readAll();
            if (request.endsWith("\r\n\r\n")) {
                requests_.append(std::exchange(request, {}));
                reply(socket, answers_.value(requests_.last().split(' ').value(1),
                                             Answer{.body = {}, .status = 404}));
            }
        });
    }

    void reply(QTcpSocket& socket, const Answer& answer) {
        QByteArray head = "HTTP/1.1 " + QByteArray::number(answer.status) + " -\r\n" + answer.headers;
        switch (answer.way) {
            case Answer::Way::whole:
                send(socket, head + "Content-Length: " + QByteArray::number(answer.body.size()) + "\r\n\r\n" +
                                 answer.body);
                break;
            case Answer::Way::cutOff:
                send(socket, head + "Content-Length: " + QByteArray::number(answer.body.size()) + "\r\n\r\n" +
                                 answer.body.first(answer.body.size() / 2));
                socket.disconnectFromHost();
                break;
            case Answer::Way::endless:
                send(socket, head + "\r\n");
                // Through the event loop, or a reader that is fast enough would keep us in here for good.
                connect(
                    &socket, &QIODevice::bytesWritten, &socket, [this, &socket] { pour(socket); },
                    Qt::QueuedConnection);
                pour(socket);
                break;
            case Answer::Way::dripping: {
                send(socket, head + "\r\n");
                auto* drops = new QTimer(&socket);
                connect(drops, &QTimer::timeout, &socket, [this, &socket] { send(socket, "x"); });
                drops->start(std::chrono::milliseconds(10));
                break;
            }
            case Answer::Way::silent:
                break;
        }
    }

    void pour(QTcpSocket& socket) {
        if (socket.bytesToWrite() < 64 << 10) {
            send(socket, QByteArray(64 << 10, 'x'));
        }
    }

    void send(QTcpSocket& socket, const QByteArray& bytes) {
        bytesSent_ += bytes.size();
        socket.write(bytes);
    }

    QSslServer server_;
    QHash<QByteArray, Answer> answers_;
    QHash<QTcpSocket*, QByteArray> pending_;
    QList<QByteArray> requests_;
    qint64 bytesSent_ = 0;
};

}  // namespace larkfold::test
