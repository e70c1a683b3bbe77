// Only carries the precompiled headers of the tests.
