// What OpenBLAS asks of an OpenMP runtime, answered as by one with a single thread. Linked into the shared
// libraries alone: there all products run on the calling thread, and a runtime of the library's own would
// start threads, leave memory behind when the library is closed, and end the process where it cannot do
// what it wants. Tools and tests, which use OpenMP themselves, have the real one.
extern "C" {

int omp_get_max_threads() {
    return 1;
}

int omp_get_num_threads() {
    return 1;
}

int omp_get_thread_num() {
    return 0;
}

int omp_get_num_places() {
    return 0;
}

// As in a team: nobody else takes part.
int omp_in_parallel() {
    return 1;
}

void omp_set_num_threads(int) {}

void GOMP_parallel(void (*body)(void*), void* data, unsigned, unsigned) {
    body(data);
}
}
