/* Scores how alike two faces are: the whole way from files on disk to a number, in plain C.
 *
 * The library is used in four steps: a context from ZomuCreate, a template from each picture, their
 * score, the context back. Everything else here is files, options and errors. */
#include <getopt.h>
#include <math.h>
#include <stdio.h>

#include "landmark_file.h"
#include "picture_file.h"
#include "zomu.h"
#include "zomu_check.h"

enum { kDone = 0, kFailed = 1, kMisused = 2 };

static const char kUsage[] =
    "Usage: compare_faces PICTURE LANDMARKS PICTURE LANDMARKS    print the score of two faces\n";

static const char kHelp[] =
    "\n"
    "A face is a PNG or JPEG file and a CSV file with the landmarks of the face in it.\n"
    "\n"
    "Options\n"
    "  -h, --help    print this text\n"
    "\n"
    "The score is one number on standard output, in the last line: the larger, the more alike.\n"
    "It has no fixed range and is not a probability; where \"the same person\" begins is for you "
    "to\n"
    "decide. Under a model that zomu-model made, which is untrained, scores tell pictures apart,\n"
    "not people. To keep templates in files, use zomu-template.\n"
    "\n"
    "Landmarks are lines of id,x,y in pixels of the upright picture: the origin is the centre of\n"
    "its first pixel, x points right, y points down. `zomu find PICTURE --csv FOLDER` writes "
    "them.\n"
    "The trained numbers come from the folder ~zvplugintmp~ in the temporary directory (TMPDIR);\n"
    "zomu-model install puts them there. Files missing there are named on standard output by the\n"
    "library while it is loaded, before this program reads its options: lines that begin with "
    "\"load \".\n"
    "\n"
    "Example\n"
    "  compare_faces anna.png anna.csv visitor.jpg visitor.csv\n"
    "\n"
    "Exit status: 0 done, 1 a file, a face or the model was no good, 2 the command line was.\n";

/* One face of the command line, and what was read for it. */
typedef struct Face {
    const char* picturePath;
    const char* landmarkPath;
    Picture picture;
    LandmarkRecord landmarks;
    FaceTemplate template;
} Face;

static bool report(const char* path, const char* text) {
    fprintf(stderr, "compare_faces: %s: %s\n", path, text);
    return false;
}

static int misuse(const char* text) {
    fprintf(stderr, "compare_faces: %s\n%sTry compare_faces --help.\n", text, kUsage);
    return kMisused;
}

static bool isFinite(const FaceTemplate* template) {
    for (int i = 0; i < ZOMU_PROJECTION_SIZE; ++i) {
        if (!isfinite(template->projection[i])) {
            return false;
        }
    }
    return isfinite(template->quadraticTerm) && isfinite(template->projectionNorm);
}

static bool loadFace(Face* face) {
    Problem problem;
    if (!readPicture(face->picturePath, &face->picture, &problem)) {
        return report(face->picturePath, problem.text);
    }
    if (!readLandmarks(face->landmarkPath, &face->landmarks, &problem)) {
        return report(face->landmarkPath, problem.text);
    }
    return true;
}

static bool extractFace(ZomuContext* context, Face* face) {
    const Picture* picture = &face->picture;
    ZomuLandmarkReport fault;
    if (ZomuCheckLandmarks(&face->landmarks, picture->width, picture->height, &fault) !=
        ZOMU_LANDMARKS_GOOD) {
        return report(face->landmarkPath, fault.text);
    }
    ZomuFaceView view;
    ZomuNearFace(picture->pixels, picture->width, picture->height, picture->stride,
                 &face->landmarks, &view);
    ZomuExtractTemplate(context, view.image, view.width, view.height, view.stride, view.landmarks,
                        &face->template);
    return isFinite(&face->template) ||
           report(face->picturePath,
                  "gives no template: model files are missing or damaged, "
                  "and zomu-model install puts a model in place");
}

static bool printScore(const Face* faces) {
    const float score = ZomuCompareTemplates(&faces[0].template, &faces[1].template);
    if (!isfinite(score)) {
        return report("no score", "one of the templates has no length");
    }
    /* Buffered output meets a full disk only when it is flushed. */
    if (printf("%.9g\n", (double)score) < 0 || fflush(stdout) != 0) {
        return report("standard output", "the score could not be written");
    }
    return true;
}

/* A context takes a while, so that one serves both. */
static bool run(Face faces[2]) {
    if (!loadFace(&faces[0]) || !loadFace(&faces[1])) {
        return false;
    }
    ZomuContext* context = ZomuCreate();
    const bool good = extractFace(context, &faces[0]) && extractFace(context, &faces[1]);
    ZomuDestroy(context);
    return good && printScore(faces);
}

static int printHelp(void) {
    printf("%s%s", kUsage, kHelp);
    return fflush(stdout) == 0 ? kDone : kFailed;
}

int main(int argc, char** argv) {
    static const struct option options[] = {{"help", no_argument, NULL, 'h'}, {NULL, 0, NULL, 0}};
    for (int option; (option = getopt_long(argc, argv, "h", options, NULL)) != -1;) {
        if (option == 'h') {
            return printHelp();
        }
        fputs("Try compare_faces --help.\n", stderr);
        return kMisused;
    }
    if (argc - optind != 4) {
        return misuse(
            "two faces are needed, each as a picture and its landmarks; `zomu find PICTURE --csv "
            "FOLDER` writes landmark files");
    }
    char** words = argv + optind;
    Face faces[2] = {{.picturePath = words[0], .landmarkPath = words[1]},
                     {.picturePath = words[2], .landmarkPath = words[3]}};
    const bool good = run(faces);
    freePicture(&faces[0].picture);
    freePicture(&faces[1].picture);
    return good ? kDone : kFailed;
}
