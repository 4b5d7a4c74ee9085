import QtQuick

// The edges and corners of the frameless window, by which it is resized.
Item {
    id: root

    required property Window window

    property int reach: 5
    property int cornerReach: 12

    anchors.fill: parent
    visible: root.window.visibility === Window.Windowed

    component Edge: MouseArea {
        id: edge

        required property int edges

        cursorShape: edge.edges === (Qt.TopEdge | Qt.LeftEdge) || edge.edges === (Qt.BottomEdge | Qt.RightEdge) ? Qt.SizeFDiagCursor
            : edge.edges === (Qt.TopEdge | Qt.RightEdge) || edge.edges === (Qt.BottomEdge | Qt.LeftEdge) ? Qt.SizeBDiagCursor
            : edge.edges & (Qt.TopEdge | Qt.BottomEdge) ? Qt.SizeVerCursor : Qt.SizeHorCursor
        onPressed: root.window.startSystemResize(edge.edges)
        Accessible.ignored: true
    }

    Edge { edges: Qt.TopEdge; width: parent.width; height: root.reach }
    Edge { edges: Qt.BottomEdge; y: parent.height - height; width: parent.width; height: root.reach }
    Edge { edges: Qt.LeftEdge; width: root.reach; height: parent.height }
    Edge { edges: Qt.RightEdge; x: parent.width - width; width: root.reach; height: parent.height }

    Edge { edges: Qt.TopEdge | Qt.LeftEdge; width: root.cornerReach; height: root.reach }
    Edge { edges: Qt.TopEdge | Qt.LeftEdge; width: root.reach; height: root.cornerReach }
    Edge { edges: Qt.TopEdge | Qt.RightEdge; x: parent.width - width; width: root.cornerReach; height: root.reach }
    Edge { edges: Qt.TopEdge | Qt.RightEdge; x: parent.width - width; width: root.reach; height: root.cornerReach }
    Edge { edges: Qt.BottomEdge | Qt.LeftEdge; y: parent.height - height; width: root.cornerReach; height: root.reach }
    Edge { edges: Qt.BottomEdge | Qt.LeftEdge; y: parent.height - height; width: root.reach; height: root.cornerReach }
    Edge { edges: Qt.BottomEdge | Qt.RightEdge; x: parent.width - width; y: parent.height - height; width: root.cornerReach; height: root.reach }
    Edge { edges: Qt.BottomEdge | Qt.RightEdge; x: parent.width - width; y: parent.height - height; width: root.reach; height: root.cornerReach }
}
