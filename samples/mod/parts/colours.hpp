// Light colours as red, green and blue.
#define WARM {1, 0.85, 0.6}
#define COLD {0.7, 0.85, 1}
