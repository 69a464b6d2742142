// The score of two templates.
#ifndef ZOMU_TEMPLATE_COMPARISON_H
#define ZOMU_TEMPLATE_COMPARISON_H

#include "zomu.h"

float compareTemplates(const FaceTemplate& a, const FaceTemplate& b);

#endif
