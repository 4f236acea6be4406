# Install rules and packages.
