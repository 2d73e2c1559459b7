// SPDX-License-Identifier: MIT
// A C# host for Windows: reads a seed out of a reply, shows an error, and streams a download. Where a real host
// would run each document on its bus, this one writes the replies into it. Needs the component and a library
// with the Vantrel classes registered; examples/README.md says how to build and run it.
using System;
using System.Runtime.InteropServices;
using System.Runtime.InteropServices.ComTypes;
using System.Threading;
using Quillmark;

// Receives the event. In a process of the multi-threaded apartment it is called on the worker's thread.
[ComVisible(true), ClassInterface(ClassInterfaceType.None)]
public class Sink : IDiagOnCANReprogEvents
{
    public readonly ManualResetEvent Ended = new ManualResetEvent(false);
    public int Bytes;

    public void XMLReady(object node, ref bool cancel)
    {
        if (node == null)  // the end of the sequence, normal or not: the bytes tell
        {
            Ended.Set();
            return;
        }
        dynamic document = node;
        // Run it on the bus and check it with checkdownload; then ask for the next one.
        Bytes += int.Parse((string)document.documentElement.getAttribute("totalbytes"));
        cancel = false;
    }
}

public static class Host
{
    static dynamic Create(string progId)
    {
        return Activator.CreateInstance(Type.GetTypeFromProgID(progId, true));
    }

    static void WriteReply(dynamic document, string frame)
    {
        dynamic received = document.createElement("d");
        received.text = frame;
        document.selectSingleNode("/can/x/r").appendChild(received);
    }

    static void ShowSeedAndError(IDiagOnCANReprog reprog)
    {
        // [pair]
        dynamic document = reprog.readseed();
        Console.WriteLine((string)document.xml);
        WriteReply(document, "0667811122334455");
        dynamic seed = reprog.getseed(document);
        Console.WriteLine("seed " + (string)seed.Hex);
        // [pair]

        document = reprog.readseed();
        WriteReply(document, "037F2736");
        try
        {
            reprog.getseed(document);
        }
        catch (Exception error)  // .NET makes other classes than COMException of some numbers
        {
            Console.WriteLine("error {0}: {1}", Marshal.GetHRForException(error) & 0xFFFF, error.Message);
        }
    }

    static void Download(IDiagOnCANReprog reprog)
    {
        dynamic segment = Create("Vantrel.ByteString");
        segment.Hex = "0102030405060708";
        segment.StartAddress = 0x8000;
        dynamic image = Create("Vantrel.MemoryImage");
        image.AddSegment(segment);

        IConnectionPoint events;
        Guid id = typeof(IDiagOnCANReprogEvents).GUID;
        ((IConnectionPointContainer)reprog).FindConnectionPoint(ref id, out events);
        var sink = new Sink();
        int cookie;
        events.Advise(sink, out cookie);
        reprog.ComputeDownload(1, image, 0xFF, 16, 240);
        sink.Ended.WaitOne();
        events.Unadvise(cookie);
        Console.WriteLine(sink.Bytes == 8 ? "download complete" : "download incomplete");
    }

    [MTAThread]
    public static void Main()
    {
        var reprog = (IDiagOnCANReprog)Create("Quillmark.DiagOnCANReprog");
        reprog.CANIDs(1850, 1586);  // plain CAN: receive on 1850, send on 1586
        ShowSeedAndError(reprog);
        Download(reprog);
    }
}
