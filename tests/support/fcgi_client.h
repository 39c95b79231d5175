#pragma once

// A web server's side of FastCGI over a Unix socket, record by record, so that a test can also
// leave records out. Every wait ends after ten seconds at the latest.

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace testing_support {

class FcgiClient {
  public:
    /// Connects. @throws std::runtime_error when nobody listens
    explicit FcgiClient(const std::string& path);
    ~FcgiClient();
    FcgiClient(const FcgiClient&) = delete;
    FcgiClient& operator=(const FcgiClient&) = delete;

    /// The parts of a request, in the order in which they are sent. False when the service has hung
    /// up.
    bool begin() const { return raw(beginning()); }
    bool parameters(const std::map<std::string, std::string>& values) const {
        return raw(parametersOf(values));
    }
    bool endOfParameters() const { return record(kParameters, ""); }
    bool input(const std::string& data) const { return raw(inputOf(data)); }
    bool endOfInput() const { return record(kInput, ""); }
    /// Bytes that need not be a record.
    [[nodiscard]] bool raw(const std::string& bytes) const;

    /// The bytes of a whole request.
    [[nodiscard]] static std::string bytesOf(const std::map<std::string, std::string>& values,
                                             const std::string& body);

    /// Waits for the whole answer.
    /// @return what the service wrote; nothing when it hung up or said nothing for ten seconds
    [[nodiscard]] std::optional<std::string> answer() const;

    /// A whole request and its answer.
    [[nodiscard]] static std::optional<std::string>
    ask(const std::string& path, const std::map<std::string, std::string>& values,
        const std::string& body = "");

    static constexpr std::uint8_t kInput = 5;

  private:
    static constexpr std::uint8_t kBegin = 1;
    static constexpr std::uint8_t kEnd = 3;
    static constexpr std::uint8_t kParameters = 4;
    static constexpr std::uint8_t kOutput = 6;

    [[nodiscard]] static std::string recordOf(std::uint8_t type, const std::string& content);
    [[nodiscard]] static std::string beginning();
    [[nodiscard]] static std::string parametersOf(const std::map<std::string, std::string>& values);
    [[nodiscard]] static std::string inputOf(const std::string& data);
    [[nodiscard]] bool record(std::uint8_t type, const std::string& content) const {
        return raw(recordOf(type, content));
    }
    [[nodiscard]] std::optional<std::string> read(std::size_t size) const;

    int m_socket;
};

} // namespace testing_support
