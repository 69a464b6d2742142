/* Scores how alike two faces are: the whole way from files on disk to a number, in plain C.
 *
 * The library is used in four steps: a context from ZomuCreate, a template from each picture, their
 * score, the context back. Everything else here is files, options and errors. */
#include <getopt.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "landmark_file.h"
#include "picture_file.h"
#include "zomu.h"
#include "zomu_check.h"

enum { kDone = 0, kFailed = 1, kMisused = 2 };

static const char kUsage[] =
    "Usage: compare_faces FACE FACE             print the score of two faces\n"
    "       compare_faces -o TEMPLATE.zt FACE   keep one face as a template\n";

static const char kHelp[] =
    "\n"
    "A FACE is one of\n"
    "  PICTURE LANDMARKS   a PNG or JPEG file, and a CSV file with the landmarks of the face\n"
    "  TEMPLATE.zt         a template kept earlier; the name has to end in .zt\n"
    "\n"
    "Options\n"
    "  -o, --output FILE   write the template of the one FACE to FILE, which ends in .zt\n"
    "  -h, --help          print this text\n"
    "\n"
    "The score is one number on standard output, in the last line: the larger, the more alike.\n"
    "It has no fixed range and is not a probability; where \"the same person\" begins is for you "
    "to\n"
    "decide. Under a model that zomu-model made, which is untrained, scores tell pictures apart,\n"
    "not people.\n"
    "\n"
    "Landmarks are lines of id,x,y in pixels of the picture: the origin is the centre of its\n"
    "first pixel, x points right, y points down. The trained numbers come from the folder\n"
    "~zvplugintmp~ in the temporary directory (TMPDIR). Files missing there are named on\n"
    "standard output by the library, in lines that begin with \"load \".\n"
    "\n"
    "Examples\n"
    "  compare_faces anna.png anna.csv visitor.jpg visitor.csv\n"
    "  compare_faces -o anna.zt anna.png anna.csv\n"
    "  compare_faces anna.zt visitor.jpg visitor.csv\n"
    "\n"
    "Exit status: 0 done, 1 a file or face was no good, 2 the command line was.\n";

/* One face of the command line, and what was read for it. */
typedef struct Face {
    const char* picturePath; /* null for a face that comes as a template */
    const char* landmarkPath;
    const char* templatePath;
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

static bool isTemplatePath(const char* path) {
    const size_t size = strlen(path);
    return size >= 3 && strcmp(path + size - 3, ".zt") == 0;
}

static bool isFinite(const FaceTemplate* template) {
    for (int i = 0; i < ZOMU_PROJECTION_SIZE; ++i) {
        if (!isfinite(template->projection[i])) {
            return false;
        }
    }
    return isfinite(template->quadraticTerm) && isfinite(template->projectionNorm);
}

/* Sorts the words of the command line into faces. Returns how many, or -1 where they do not fit. */
static int collectFaces(int count, char** words, Face faces[2]) {
    int found = 0;
    for (int i = 0; i < count; ++found) {
        if (found == 2) {
            return -1;
        }
        if (isTemplatePath(words[i])) {
            faces[found].templatePath = words[i];
            i += 1;
        } else if (i + 1 < count && !isTemplatePath(words[i + 1])) {
            faces[found].picturePath = words[i];
            faces[found].landmarkPath = words[i + 1];
            i += 2;
        } else {
            return -1;
        }
    }
    return found;
}

static bool loadTemplate(const char* path, FaceTemplate* template) {
    Problem problem;
    FileBytes file;
    if (!readFile(path, 1 << 20, &file, &problem)) {
        return report(path, problem.text);
    }
    const bool fits = file.size == sizeof *template;
    if (fits) {
        memcpy(template, file.data, sizeof *template);
    } else {
        fail(&problem, "is not a template: %zu bytes instead of %zu", file.size, sizeof *template);
    }
    freeFileBytes(&file);
    if (!fits) {
        return report(path, problem.text);
    }
    return isFinite(template) ||
           report(path, "is not a template: it holds values that are not finite");
}

static bool loadFace(Face* face) {
    if (face->templatePath != NULL) {
        return loadTemplate(face->templatePath, &face->template);
    }
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
           report(face->picturePath, "gives no template: model files are missing or damaged");
}

/* A context takes a while and is made only for faces that come as pictures; one serves both. */
static bool extractFaces(Face* faces, int count) {
    bool good = true;
    ZomuContext* context = NULL;
    for (int i = 0; i < count && good; ++i) {
        if (faces[i].templatePath == NULL) {
            if (context == NULL) {
                context = ZomuCreate();
            }
            good = extractFace(context, &faces[i]);
        }
    }
    ZomuDestroy(context);
    return good;
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

static bool saveTemplate(const char* path, const Face* face) {
    Problem problem;
    return writeFile(path, &face->template, sizeof face->template, &problem) ||
           report(path, problem.text);
}

static bool run(Face* faces, int count, const char* output) {
    for (int i = 0; i < count; ++i) {
        if (!loadFace(&faces[i])) {
            return false;
        }
    }
    return extractFaces(faces, count) &&
           (output != NULL ? saveTemplate(output, &faces[0]) : printScore(faces));
}

static int printHelp(void) {
    printf("%s%s", kUsage, kHelp);
    return fflush(stdout) == 0 ? kDone : kFailed;
}

int main(int argc, char** argv) {
    static const struct option options[] = {{"output", required_argument, NULL, 'o'},
                                            {"help", no_argument, NULL, 'h'},
                                            {NULL, 0, NULL, 0}};
    const char* output = NULL;
    for (int option; (option = getopt_long(argc, argv, "o:h", options, NULL)) != -1;) {
        if (option == 'h') {
            return printHelp();
        }
        if (option != 'o') {
            fputs("Try compare_faces --help.\n", stderr);
            return kMisused;
        }
        output = optarg;
    }
    Face faces[2] = {0};
    const int count = collectFaces(argc - optind, argv + optind, faces);
    if (count < 0) {
        return misuse("a picture stands without landmarks, or there are more than two faces");
    }
    if (count != (output != NULL ? 1 : 2)) {
        return misuse(output != NULL ? "-o takes exactly one face" : "two faces are needed");
    }
    if (output != NULL && !isTemplatePath(output)) {
        return misuse("the name of a template has to end in .zt");
    }
    const bool good = run(faces, count, output);
    freePicture(&faces[0].picture);
    freePicture(&faces[1].picture);
    return good ? kDone : kFailed;
}
