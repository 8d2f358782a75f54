module launcher.example/host

go 1.19
