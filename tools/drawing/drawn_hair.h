// The hair of a drawn face: one layer behind the head, one on top of it.
#ifndef ZOMU_TOOLS_DRAWING_DRAWN_HAIR_H
#define ZOMU_TOOLS_DRAWING_DRAWN_HAIR_H

#include "drawing/canvas.h"
#include "drawing/drawn_head.h"

enum class HairCut { bald, shaven, brushed, parted, fringe, curly, bob, flowing };
constexpr int kHairCutCount = 8;

struct Hair {
    HairCut cut;
    Colour colour;
    double partSide;  // -1 or 1: where a parting lies
};

void drawHairBehind(const Canvas& canvas, const DrawnHead& head, const Hair& hair, Dice& dice);
void drawHairOnTop(const Canvas& canvas, const DrawnHead& head, const Hair& hair, Dice& dice);

#endif
