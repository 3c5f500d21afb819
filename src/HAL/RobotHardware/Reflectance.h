// Distance from infrared reflectance.
#pragma once

#include <map>
#include <vector>

#include "ZKHAL/ZKExport.h"

/** One kind of distance sensor: left, right, rear. */
enum BRReflectanceModel : int { BRReflectanceLeft = 0, BRReflectanceRight = 1, BRReflectanceRear = 2 };

struct BRReflectanceDistanceSample {
    double reflectanceValue;  // raw reading, 0 to 255
    double distanceValue;     // cm
};

/** Piecewise linear between calibration samples; one table of samples a model. Used by one thread at a time. */
class ZK_API BRReflectance {
public:
    /** Created on first use with the default tables; lives until the process ends. */
    static BRReflectance& instance();

    /** With the default tables. */
    BRReflectance();

    /**
     * Inserts a sample in the order of reflectances, before one of the same reflectance. Along a table distances may
     * not increase: a sample that breaks this stops the process, except behind the last one, which is not compared.
     * Samples that are not finite are left out.
     */
    void addSampleToModel(BRReflectanceModel model, const BRReflectanceDistanceSample& newSample);
    void addSampleToModel(BRReflectanceModel model, double reflectance, double distance);

    /**
     * cm. Readings beyond the ends give the end's distance; between two samples of the same reflectance, the first.
     * Not-a-number for such a reading, and with a message on stdout for an unknown or an empty model.
     */
    double distanceForReflectance(BRReflectanceModel model, double reflectance) const;

    /** Ascending by reflectance; null for an unknown model. */
    const std::vector<BRReflectanceDistanceSample>* getModel(BRReflectanceModel model) const;
    std::vector<BRReflectanceDistanceSample>& getOrCreateModel(BRReflectanceModel model);

private:
    void buildDefaultModels();

    std::map<BRReflectanceModel, std::vector<BRReflectanceDistanceSample>> mModels;
};
