#pragma once

#include <memory>

// What a header needs to speak of iPods without depending on the whole of TVRiPod.
class TVRiPod;
using TVRiPodPtr = std::shared_ptr<TVRiPod>;
