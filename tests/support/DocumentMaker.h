// Random command documents.
#pragma once

#include <string>

#include "support/Support.h"

namespace support {

class DocumentMaker {
public:
    explicit DocumentMaker(uint64_t seed) : mRandom(seed) {}

    // Anything that resembles a document: right and wrong ids, keys, kinds of values, now and then broken text.
    std::string wildDocument()
    {
        std::string text = "{";
        const int components = mRandom.below(5);
        for (int i = 0; i < components; ++i) {
            text += "\"" + std::to_string(pick(kIds)) + "\":" + params() + ",";
        }
        text += "}";
        if (mRandom.below(25) == 0) {
            text.erase(static_cast<size_t>(mRandom.below(static_cast<int>(text.size()))), 1);
        }
        return text;
    }

    Random& random()
    {
        return mRandom;
    }

private:
    template <class Item, size_t kCount>
    const Item& pick(const Item (&items)[kCount])
    {
        return items[mRandom.below(kCount)];
    }

    std::string params()
    {
        if (mRandom.below(12) == 0) {
            return value();
        }
        std::string text = "{";
        const int count = mRandom.below(4);
        for (int i = 0; i < count; ++i) {
            text += "\"" + std::string(pick(kKeys)) + "\":" + value() + " ";
        }
        return text + "}";
    }

    std::string value()
    {
        switch (mRandom.below(10)) {
            case 0:
                return "\"WORD/WORD\"";
            case 1:
                return "[1,0,1]";
            case 2:
                return "{\"" + std::to_string(mRandom.below(14)) + "\":1,\"freq\":440}";
            case 3:
                return "true";
            case 4:
                return std::to_string(mRandom.below(70000) - 2000);
            default:
                return std::to_string(mRandom.real(0, 1));
        }
    }

    static constexpr int kIds[] = {1,   100, 100, 101, 102, 103, 104, 105, 106, 107,  108,  109,  110, 111, 200,
                                   201, 202, 203, 204, 205, 206, 207, 208, 209, 210,  211,  212,  213, 214, 300,
                                   301, 304, 305, 400, 401, 410, 450, 451, 450, 5000, 6001, 9000, 7};
    // clang-format off
    static constexpr const char* kKeys[] = {
        "pwr", "pingID", "brightness", "1", "r", "g", "b", "animation", "index", "cm_s", "left_cm_s", "degree", "time",
        "hold", "x", "mode", "prcnt", "file", "volume", "type", "tone1", "dir", "message", "LEDs", "name", "color",
        "anim", "avatar", "pvolume", "id", "id", "id", "params", "amp_deg", "prd_s", "linear_cm_s", "angular_deg_s",
        "angular_acc_deg_s_s", "linear_acc_cm_s_s"};
    // clang-format on

    Random mRandom;
};

}  // namespace support
