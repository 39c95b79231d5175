#pragma once

// The settings as the web page sees them. parameter_io renders the settings in force as a small XML
// document, takes the document that the page submits, and puts it in force: settings, overlay
// stream, areas of interest, stored parameters. It also puts the status code into words, for the
// page and for the overlay.
//
// The class has no state; it works on the process-wide objects. Every operation may be called from
// any thread: start-up and the overlay call on the main thread, the web service on its own. The
// settings' lock is held for copying and assigning only, never across a platform call.
//
// Area corners travel in two units: the settings hold pixels of the analysis stream, the document
// whole percentages of its width (even elements, x) or height (odd elements, y).

#include <map>
#include <string>

class parameter_io {
  public:
    /// The settings document: one line, without white space or declaration, its texts not escaped.
    /// Asks the camera for its resolutions, which may block.
    static std::string get_parameters();

    /// Puts a submitted document in force and stores it. Elements that are missing read as empty
    /// texts; those of areas 2 and 3 are ignored, because the page edits one area. Blocks until all
    /// is stored.
    /// @return 0; -1 for a document without elements, logged as "Failed to parse XML payload", and
    /// nothing has changed then
    /// @throws std::invalid_argument or std::out_of_range for a text that is no number or no WxH.
    /// Deliberate: what was assigned before it stays in force, and nothing is stored.
    static int set_post_parameters(std::string payload);

    /// The elements of a document between "<root>" and "</root>": the text behind each opening tag,
    /// up to the next tag, by the tag's whole text. Attributes stay part of the tag, nothing is
    /// decoded or trimmed, and the last of several elements of one name counts.
    /// Deliberate: without "<root>" the document begins at its sixth character; without a "</root>"
    /// behind it, it ends with the text. A tag that is never closed is none.
    static std::map<std::string, std::string> parseXMLData_no_dependency(std::string xml);

    /// Makes the areas of the settings in force those of g_AreaofInterest. Values are not checked:
    /// an area that was never drawn becomes four equal points.
    static void store_points_into_AOI();

    /// A status code in words.
    static std::string status_to_string(int code);

    /// The status code in force, in decimal, and in words.
    static std::string get_status_code();
    static std::string get_status_string();

    /// The duration of the last analysis step in milliseconds, in decimal.
    static std::string get_execution_time();

    /// "1" when the camera is turned by 90 or 270 degrees, else "0".
    static std::string get_is_portrait();

    /// The sensor's aspect ratio, for example "16:9". Asks the camera, which may block.
    static std::string get_aspect_ratio();

    /// The camera's stream sizes, "640x360,1280x720,". Asks the camera, which may block.
    static std::string CameraResolutionsAsCsv();
};
