// Carries the precompiled headers of the tests; a target without a source cannot.
