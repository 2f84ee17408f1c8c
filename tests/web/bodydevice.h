#pragma once

#include <QIODevice>

#include <algorithm>
#include <cstring>

/// The body of a request, made while it is read: so many bytes 'x', of which the last ones may be held back.
/// Keeps nothing.
class BodyDevice final : public QIODevice
{
public:
    /// `available`: so many can be read so far. `isComplete`: none follow these.
    explicit BodyDevice(qint64 available, bool isComplete = true)
        : m_available(available)
        , m_isComplete(isComplete)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    void add(qint64 bytes)
    {
        m_available += bytes;
        emit readyRead();
    }
    /// All that has been read.
    qint64 bytesRead() const { return m_bytesRead; }

    bool isSequential() const override { return true; }
    bool atEnd() const override { return m_isComplete && m_available == 0; }
    qint64 bytesAvailable() const override { return m_available + QIODevice::bytesAvailable(); }

protected:
    qint64 readData(char *data, qint64 maximum) override
    {
        const qint64 size = std::min(maximum, m_available);
        if (size == 0 && m_isComplete) {
            return -1;
        }
        std::memset(data, 'x', static_cast<std::size_t>(size));
        m_available -= size;
        m_bytesRead += size;
        return size;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    qint64 m_available;
    qint64 m_bytesRead = 0;
    const bool m_isComplete;
};
