// A shared object that loads and has none of a module's entry points.
int Unrelated(void);

int Unrelated(void) {
    return 1;
}
