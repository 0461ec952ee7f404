// The precompiled headers need a file to belong to.
