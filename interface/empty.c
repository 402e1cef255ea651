/* The shared object is assembled from the internal library's objects; the
   build system needs one source of its own to attach the link step to. */
typedef int siu_translation_unit_is_not_empty;
