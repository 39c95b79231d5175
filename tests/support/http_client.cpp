#include "tests/support/http_client.h"

#include <stdexcept>

#include <curl/curl.h>
#include <strings.h>

namespace testing_support {
namespace {

constexpr long kSeconds = 20;

std::size_t keepBody(char* data, std::size_t size, std::size_t count, void* answer) {
    static_cast<HttpAnswer*>(answer)->body.append(data, size * count);
    return size * count;
}

std::size_t keepHeader(char* data, std::size_t size, std::size_t count, void* answer) {
    std::string line(data, size * count);
    line.erase(line.find_last_not_of("\r\n") + 1);
    if (line.find(':') != std::string::npos) {
        static_cast<HttpAnswer*>(answer)->headers.push_back(line);
    }
    return size * count;
}

} // namespace

std::string HttpAnswer::header(const std::string& name) const {
    for (const std::string& line : headers) {
        const std::size_t colon = line.find(':');
        if (colon == name.size() && strncasecmp(line.c_str(), name.c_str(), colon) == 0) {
            const std::size_t value = line.find_first_not_of(' ', colon + 1);
            return value == std::string::npos ? "" : line.substr(value);
        }
    }
    return "";
}

HttpClient::HttpClient() : m_handle(curl_easy_init()) {
    if (m_handle == nullptr) {
        throw std::runtime_error("libcurl does not start");
    }
}

HttpClient::~HttpClient() {
    curl_easy_cleanup(m_handle);
}

HttpAnswer HttpClient::send(const std::string& url, const HttpRequest& request) {
    HttpAnswer answer;
    curl_slist* headers = curl_slist_append(nullptr, "Expect:");
    for (const std::string& header : request.headers) {
        headers = curl_slist_append(headers, header.c_str());
    }
    curl_easy_reset(m_handle);
    curl_easy_setopt(m_handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(m_handle, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    if (request.method == "HEAD") {
        curl_easy_setopt(m_handle, CURLOPT_NOBODY, 1L);
    }
    if (!request.body.empty() || request.method == "POST") {
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDSIZE_LARGE,
                         static_cast<curl_off_t>(request.body.size()));
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDS, request.body.c_str());
    }
    curl_easy_setopt(m_handle, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(m_handle, CURLOPT_HEADERFUNCTION, keepHeader);
    curl_easy_setopt(m_handle, CURLOPT_HEADERDATA, &answer);
    curl_easy_setopt(m_handle, CURLOPT_WRITEFUNCTION, keepBody);
    curl_easy_setopt(m_handle, CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(m_handle, CURLOPT_PROXY, "");
    curl_easy_setopt(m_handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(m_handle, CURLOPT_TIMEOUT, kSeconds);
    const CURLcode result = curl_easy_perform(m_handle);
    if (result == CURLE_OK) {
        curl_easy_getinfo(m_handle, CURLINFO_RESPONSE_CODE, &answer.status);
    } else {
        answer.problem = curl_easy_strerror(result);
    }
    curl_slist_free_all(headers);
    return answer;
}

bool HttpClient::sendAndHangUp(const std::string& url, const std::string& bytes) {
    curl_easy_reset(m_handle);
    curl_easy_setopt(m_handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(m_handle, CURLOPT_CONNECT_ONLY, 1L);
    curl_easy_setopt(m_handle, CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(m_handle, CURLOPT_PROXY, "");
    curl_easy_setopt(m_handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(m_handle, CURLOPT_TIMEOUT, kSeconds);
    std::size_t sent = 0;
    const bool done = curl_easy_perform(m_handle) == CURLE_OK &&
                      curl_easy_send(m_handle, bytes.data(), bytes.size(), &sent) == CURLE_OK &&
                      sent == bytes.size();
    // A new handle: this one keeps its connection.
    curl_easy_cleanup(m_handle);
    m_handle = curl_easy_init();
    return done;
}

} // namespace testing_support
