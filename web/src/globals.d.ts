/** The product's version, from CMakeLists.txt. */
declare const __VERSION__: string;
