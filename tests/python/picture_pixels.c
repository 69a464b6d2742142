/* Prints what the reader of the tools makes of a picture: width and height in text, then the pixels. */
#include <stdio.h>

#include "picture_file.h"

int main(int count, char** arguments) {
    Picture picture;
    Problem problem;
    if (count != 2 || !readPicture(arguments[1], &picture, &problem)) {
        fprintf(stderr, "%s\n", count == 2 ? problem.text : "usage: picture_pixels PICTURE");
        return 1;
    }
    printf("%d %d\n", (int)picture.width, (int)picture.height);
    fwrite(picture.pixels, (size_t)picture.stride, (size_t)picture.height, stdout);
    freePicture(&picture);
    return 0;
}
