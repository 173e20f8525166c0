#pragma once

#include <QByteArray>
#include <QTcpSocket>
#include <QtTest>

// A request frame as a client writes it, payload of ASCII, trailing ";" added.
inline QByteArray request(int command, int id, const QByteArray &payload = QByteArray())
{
    const QByteArray body = QByteArray::number(command).rightJustified(3, '0') + ';' +
                            QByteArray::number(id).rightJustified(6, '0') + ';' + payload + ';';
    return '@' + QByteArray::number(body.size()).rightJustified(6, '0') + ';' + body;
}

// Sends a request and gives the payload of its reply (ASCII replies), spinning the event loop.
inline QByteArray askPayload(QTcpSocket &socket, const QByteArray &frame)
{
    socket.write(frame);
    QByteArray received;
    (void)QTest::qWaitFor([&] {
        received += socket.readAll();
        return received.size() >= 8 && received.size() >= 8 + received.mid(1, 6).toInt();
    });
    return received.mid(19, received.size() - 20);
}
