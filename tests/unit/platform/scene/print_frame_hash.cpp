// Prints the hash of one frame of the default story: print_frame_hash SEED FRAME WIDTH HEIGHT.

#include <cstdint>
#include <exception>
#include <iostream>
#include <string>

#include "platform/hostcam/scene.h"
#include "tests/unit/platform/scene/scene_pictures.h"

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: print_frame_hash SEED FRAME WIDTH HEIGHT\n";
        return 2;
    }
    try {
        hostcam::SceneOptions options;
        options.seed = static_cast<std::uint32_t>(std::stoul(argv[1]));
        const hostcam::Scene scene(options);
        std::cout << testing_support::hashOf(testing_support::nv12Of(
                         scene, std::stoull(argv[2]), {std::stoi(argv[3]), std::stoi(argv[4])}))
                  << '\n';
    } catch (const std::exception& problem) {
        std::cerr << problem.what() << '\n';
        return 1;
    }
    return 0;
}
