#include "platform/hostcam/gstreamer_source.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>

#include "platform/hostcam/file_source.h"
#include "platform/hostcam/live_source.h"

namespace hostcam {
namespace {

using Kind = SourceError::Kind;

std::string systemText(int error) {
    return std::generic_category().message(error);
}

/// @throws SourceError for a file URI that names no path
std::string pathOf(const std::string& uri) {
    GError* raw = nullptr;
    gchar* const path = g_filename_from_uri(uri.c_str(), nullptr, &raw);
    if (path == nullptr) {
        const std::string reason = raw->message;
        g_error_free(raw);
        throw SourceError(Kind::NotFound, uri + ": " + reason);
    }
    const std::string text = path;
    g_free(path);
    return text;
}

std::unique_ptr<VideoSource> openPath(const std::string& path, bool loop) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        const Kind kind = errno == ENOENT || errno == ENOTDIR ? Kind::NotFound : Kind::Unreadable;
        throw SourceError(kind, path + ": " + systemText(errno));
    }
    if (access(path.c_str(), R_OK) != 0) {
        throw SourceError(Kind::Unreadable, path + ": " + systemText(errno));
    }
    if (S_ISDIR(status.st_mode)) {
        return openFolderSource(path, loop);
    }
    if (S_ISCHR(status.st_mode)) {
        return openLiveSource("v4l2://" + std::filesystem::absolute(path).string());
    }
    if (!S_ISREG(status.st_mode)) {
        throw SourceError(Kind::Unreadable,
                          path + ": neither a file nor a folder nor a video device");
    }
    return openFileSource(path, loop);
}

} // namespace

std::unique_ptr<VideoSource> openGstreamerSource(const Config& config) {
    const std::string& source = config.source;
    const std::size_t end = source.find("://");
    const std::string scheme = end == std::string::npos ? "" : source.substr(0, end);
    if (scheme.empty()) {
        return openPath(source, config.loop);
    }
    if (scheme == "file") {
        return openPath(pathOf(source), config.loop);
    }
    if (scheme == "rtsp" || scheme == "rtsps" || scheme == "v4l2") {
        return openLiveSource(source);
    }
    throw SourceError(Kind::NotSupported,
                      withoutCredentials(source) +
                          ": not a kind of source that is known: allowed are scene, a path, and "
                          "file, rtsp, rtsps and v4l2 URIs");
}

} // namespace hostcam
