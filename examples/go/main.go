//go:build windows && amd64

// A host in Go: lists the applications, then asks a game server for its state.
//
//	go-host PORT        port of a server on this computer
package main

import (
	"errors"
	"fmt"
	"os"
	"path/filepath"
	"runtime"
	"strconv"
	"time"

	"launcher.example/host/launcher"
)

const (
	pollInterval = 100 * time.Millisecond
	patience     = 20 * time.Second
)

func main() {
	if err := run(); err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
}

func run() error {
	runtime.LockOSThread()
	defer runtime.UnlockOSThread()

	if len(os.Args) != 2 {
		return errors.New("usage: go-host PORT")
	}
	port, err := strconv.ParseUint(os.Args[1], 10, 16)
	if err != nil {
		return err
	}
	program, err := os.Executable()
	if err != nil {
		return err
	}
	l, err := launcher.New(filepath.Join(filepath.Dir(program), "launcher.dll"))
	if err != nil {
		return err
	}
	defer l.Close()

	fmt.Println("launcher", l.Version())
	for _, app := range launcher.Applications {
		state := "missing"
		if l.IsInstalled(app) {
			state = "installed"
		}
		fmt.Printf("%s: %s, %s\n", app, state, l.AppVersion(app))
	}

	l.QueryServer("go-1", "state", "1", "127.0.0.1", uint16(port))
	for deadline := time.Now().Add(patience); time.Now().Before(deadline); {
		l.PollApps()
		event := l.NextEvent(pollInterval)
		if event == nil {
			continue
		}
		fmt.Printf("%s from %s: %s\n", event.Name, event.Source, event.Arguments[0])
		if event.Source == "go-1" {
			fmt.Println(event.Arguments[1])
			return nil
		}
	}
	return errors.New("the server's answer did not come")
}
