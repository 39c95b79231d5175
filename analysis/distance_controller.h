#pragma once

// The marker detector. Once a tick, find_markers() takes one frame of the analysis stream and
// answers with the fiducial markers of the chosen dictionary that are visible in it. Beside that
// stand a calibration aid, which finds a chessboard and stores four of its corners in the settings,
// and two small utilities; nothing in the running application calls those three.
//
// There is one object, g_DistanceController. It keeps nothing from call to call, and all of it runs
// on the main loop. The settings are copied when the frame is there; no lock is held while a frame
// is fetched or searched.

#include <string>
#include <vector>

#include <opencv2/core/types.hpp>

#include "analysis/common_structs.h"

class ImageFrameSource;

/// Four corners. A record for users of the detector; nothing here uses it.
struct Quad {
    float x0;
    float y0;
    float x1;
    float y1;
    float x2;
    float y2;
    float x3;
    float y3;

    Quad(float cornerX0, float cornerY0, float cornerX1, float cornerY1, float cornerX2,
         float cornerY2, float cornerX3, float cornerY3)
        : x0(cornerX0), y0(cornerY0), x1(cornerX1), y1(cornerY1), x2(cornerX2), y2(cornerY2),
          x3(cornerX3), y3(cornerY3) {}
};

class Distance_Controller {
  public:
    /// Logs "constructor invoked".
    Distance_Controller();

    /// What the tick calls: empties the store of user shapes, then detect_markers().
    [[nodiscard]] std::vector<detection> find_markers(ImageFrameSource& source);

    /// Takes one frame at the analysis size and searches it for markers: the whole of it when the
    /// setting b_DisplayNonAOI is on, otherwise only the part that the bounding box of area 1
    /// covers, which costs a copy of that part and saves the search of the rest. The detector and
    /// the dictionary are built anew for every call.
    /// @param source borrowed for the call; may block until there is a frame
    /// @return the markers in the detector's order, corners in analysis-stream pixels; empty when
    ///   there are none, and after an error, which is logged: "unable to getFrame" (also when the
    ///   analysis size is not known yet), "find_detection_rectangle failed" (nothing of the box
    ///   lies in the frame), "unknown dictionary " + setting, "marker detector failed: " + what the
    ///   library threw
    [[nodiscard]] std::vector<detection> detect_markers(ImageFrameSource& source);

    /// The bounding box of four points.
    /// Deliberate: the extents are plain differences, so points that share a column or a row give a
    /// box of no width or height. An extent beyond int ends at the largest int.
    [[nodiscard]] static cv::Rect find_detection_rectangle(int x0, int y0, int x1, int y1, int x2,
                                                           int y2, int x3, int y3);

    /// Copies a rectangle out of an interleaved picture. Nothing is clamped: the rectangle must lie
    /// inside the picture.
    /// @param src width pixels a row without gaps; borrowed for the call
    /// @param channels bytes a pixel
    /// @return w * h * channels bytes, which the caller frees with free(); null without memory
    [[nodiscard]] static unsigned char* cropInterleaved(unsigned char* src, int width, int height,
                                                        int channels, int x, int y, int w, int h);

    /// Finds the 9 x 6 chessboard in view, stores its four outer corners as the setting i_Markers,
    /// saves all settings and adds the quadrilateral to the user shapes.
    /// @return 1; 0 when the board is not complete, logged as "Could not find chessboard corners,
    ///   size is " + count, and nothing is stored then
    [[nodiscard]] int find_pattern(ImageFrameSource& source);

    /// Takes one frame and looks for the chessboard's inner corners. Not meant for every tick:
    /// where there is no board, the library tries one threshold after the other.
    /// @return what the library found, row by row, in analysis-stream pixels; not complete when the
    ///   board is not. Empty without a frame, logged as "Unable to getFrame", and when the library
    ///   throws, logged as "chessboard detector failed: " + reason
    [[nodiscard]] std::vector<cv::Point2f> detect_chessboard(ImageFrameSource& source);

    /// Writes the first channel of a picture as a text file, in the ASCII form of PGM. A file that
    /// cannot be written is logged at error level, "unable to write " + path.
    /// @param path replaced if it exists
    /// @param pixels 3 bytes a pixel, rows without gaps; borrowed for the call
    void writePixelBuffer(const std::string& path, unsigned char* pixels, int width,
                          int height) const;

  private:
    [[maybe_unused]] float m_squareSize; ///< side of a chessboard square in metres; kept, not read
    cv::Size m_boardSize;                ///< inner corners of the chessboard
};

/// The detector of the analysis tick. Defined in core/app_main.cpp, used on the main loop.
extern Distance_Controller g_DistanceController;

/// Runs a shell command and waits for its end.
/// @param cmd trusted text only: it goes to the shell as it is
/// @return all that it wrote to its standard output, which must be text: what stands between a zero
///   byte and the end of its line or of its 127 bytes is lost
/// @throws std::runtime_error "popen() failed!" when it cannot be started
std::string exec(const char* cmd);
