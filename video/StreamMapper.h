#pragma once

// Maps what was found in the analysis picture (the input) onto an output stream of another size and
// aspect ratio, so that overlays can be drawn there. A camera makes an output of another aspect
// ratio in one of two ways: it shows a centred crop of the input, or it shows the whole input
// centred between two empty bands. One mapper class models each; getStreamMapper() chooses. The
// overlay renderer makes a mapper for each stream and each rendering, on the main loop's thread.
//
// Coordinates are whole pixels, origin top left; sizes are given height first, in pixels, and must
// be 2 or more (a size of 1 divides by zero: the mapped values are then meaningless, but nothing
// fails). All arithmetic is 32-bit float, truncated toward zero at the end. A mapper never changes
// after it was built.

#include <memory>

/// Stretches the input over the whole output, each axis on its own. Base of the two mappers that
/// keep the aspect ratio, and usable by itself.
class StreamMapper {
  public:
    /// @param inputHeight, inputWidth size of the analysis picture
    /// @param outputHeight, outputWidth size of the stream that is drawn on
    /// @param mirrored whether that stream shows the picture flipped left to right
    StreamMapper(int inputHeight, int inputWidth, int outputHeight, int outputWidth, bool mirrored);

    virtual ~StreamMapper() = default;
    StreamMapper(const StreamMapper&) = delete;
    StreamMapper& operator=(const StreamMapper&) = delete;

    /// The output row of an input row.
    [[nodiscard]] virtual int mapY(int y) const;

    /// The output extent of an input width (a distance, not a coordinate: no offset, no mirroring).
    [[nodiscard]] virtual int mapWidth(int w) const;

    /// The output extent of an input height.
    [[nodiscard]] virtual int mapHeight(int h) const;

    /// The part of the input that the output shows: its first and last column and row.
    virtual void getActiveInputRectangle(int& x0, int& y0, int& x1, int& y1) const;

    /// The part of the output that shows the input: the output columns and rows of the first and
    /// the last input column and row. With mirroring an embedding mapper gives x0 > x1.
    virtual void getActiveOutputRectangle(int& x0, int& y0, int& x1, int& y1) const;

    /// The output column of an input column as if the output were not mirrored.
    [[nodiscard]] virtual int _mapX(int x) const;

    /// The output column of an input column, mirroring included.
    [[nodiscard]] int mapX(int x) const;

    /// Replaces an input point by its output point.
    void mapPoint(int& x, int& y) const;

    int HI;          ///< input height
    int WI;          ///< input width
    int HO;          ///< output height
    int WO;          ///< output width
    bool isMirrored; ///< the output's x axis runs from right to left
};

/// The output shows a centred crop of the input: bands at two sides of the input are cut away. What
/// lies in a band maps onto the output's edge.
class ExtractionMapper : public StreamMapper {
  public:
    ExtractionMapper(int inputHeight, int inputWidth, int outputHeight, int outputWidth,
                     bool mirrored);

    [[nodiscard]] int mapY(int y) const override;
    [[nodiscard]] int mapWidth(int w) const override;
    [[nodiscard]] int mapHeight(int h) const override;
    void getActiveInputRectangle(int& x0, int& y0, int& x1, int& y1) const override;
    [[nodiscard]] int _mapX(int x) const override;

    float alpha = 1.0F;    ///< output pixels for one input pixel
    float epsilonX = 0.0F; ///< width of the band cut away left and right, in input pixels
    float epsilonY = 0.0F; ///< height of the band cut away above and below, in input pixels
};

/// The output shows the whole input, centred: two sides of the output stay empty. Points are
/// rounded to the nearest pixel, extents truncated.
class EmbeddingMapper : public StreamMapper {
  public:
    EmbeddingMapper(int inputHeight, int inputWidth, int outputHeight, int outputWidth,
                    bool mirrored);

    [[nodiscard]] int mapY(int y) const override;
    [[nodiscard]] int mapWidth(int w) const override;
    [[nodiscard]] int mapHeight(int h) const override;
    void getActiveInputRectangle(int& x0, int& y0, int& x1, int& y1) const override;
    void getActiveOutputRectangle(int& x0, int& y0, int& x1, int& y1) const override;
    [[nodiscard]] int _mapX(int x) const override;

    float alpha = 1.0F;  ///< output pixels for one input pixel
    float deltaX = 0.0F; ///< width of the empty band left and right, in output pixels
    float deltaY = 0.0F; ///< height of the empty band above and below, in output pixels
};

/// Chooses the mapper for one output stream by the aspect ratios and the sensor (g_SensorIs16x9):
/// on a 16:9 sensor an output relatively narrower than the input is a crop of it, on any other
/// sensor a wider one is. Equal ratios give an embedding mapper on a 16:9 sensor and an extraction
/// mapper on any other.
/// @param HI, WI, HO, WO sizes of input and output, height first, in pixels
/// @param isPortrait whether the camera is mounted rotated by 90 or 270 degrees
/// @param isMirrored whether the output is flipped left to right
/// @returns the mapper, owned by the caller, never empty
[[nodiscard]] std::unique_ptr<StreamMapper> getStreamMapper(int HI, int WI, int HO, int WO,
                                                            bool isPortrait, bool isMirrored);
