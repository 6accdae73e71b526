/* The smallest program that carries program.rc's resources. */
void start(void) {}
