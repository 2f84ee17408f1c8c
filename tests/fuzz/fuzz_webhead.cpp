#include "fuzztarget.h"
#include "web/webhead.h"
#include "web/weblimits.h"

#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QUrl>

#include <algorithm>

namespace {

bool isOneLine(const QByteArray &text)
{
    return std::none_of(text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; });
}

/// What the next request to the device would say because of this answer.
void checkCookies(const QByteArray &value)
{
    const QUrl url(QStringLiteral("http://10.77.1.2/"));
    QNetworkCookieJar jar;
    jar.setCookiesFromUrl(QNetworkCookie::parseCookies(value), url);
    const QList<QNetworkCookie> cookies = jar.cookiesForUrl(url);
    for (const QNetworkCookie &cookie : cookies) {
        require(isOneLine(cookie.toRawForm(QNetworkCookie::NameAndValueOnly)), "a cookie is one line");
    }
    require(jar.cookiesForUrl(QUrl(QStringLiteral("http://10.77.1.3/"))).isEmpty(),
            "a device sets no cookie for another one");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    WebHeadReader reader;
    qint64 taken = 0;
    for (int begin = 0, end = 0; begin < bytes.size(); begin = end) {
        const int lineFeed = bytes.indexOf('\n', begin);
        end = lineFeed < 0 ? bytes.size() : lineFeed + 1;
        if (reader.take(bytes.mid(begin, end - begin)) == WebHeadReader::Outcome::TooLong) {
            break;
        }
        taken += end - begin;
    }
    require(taken <= weblimits::headers, "a head is bounded");
    require(isOneLine(reader.head().reason), "a reason is one line");
    for (const auto &header : reader.head().headers) {
        require(isOneLine(header.first) && isOneLine(header.second), "a header is one line");
        if (header.first.toLower() == "set-cookie") {
            checkCookies(header.second);
        }
    }
    return 0;
}
